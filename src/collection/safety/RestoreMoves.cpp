#include "collection/safety/RestoreMoves.h"

#include <array>

#include "collection/safety/SnapshotRepository.h"

namespace nookery {
namespace {

enum class ComesIn { never, always, whenStaged, withReceipts };

/// A part of the library that gives way. A safety folder, like a snapshot, has the library folder's
/// own layout.
struct Part {
    std::string_view live;
    ComesIn comesIn;
    std::string_view StagedLibrary::*staged = nullptr;
    bool isDatabase = false;  ///< its companions go away with it and never come in
};
constexpr std::array parts{
    // Memories that wait to be taken over belong to what was live.
    Part{"crumbs.json", ComesIn::never},
    Part{snapshot::databaseName, ComesIn::always, &StagedLibrary::database, true},
    Part{snapshot::sidecarName, ComesIn::whenStaged, &StagedLibrary::sidecar, true},
    Part{snapshot::itemsName, ComesIn::always, &StagedLibrary::items},
    Part{snapshot::receiptsDatabaseName, ComesIn::withReceipts, &StagedLibrary::receiptsDatabase,
         true},
    Part{snapshot::receiptOriginalsName, ComesIn::withReceipts, &StagedLibrary::receiptOriginals},
};
constexpr std::array databaseCompanions{"-wal", "-shm", "-journal"};

class MovePlan {
  public:
    MovePlan(FileSystem& files, const RestoreFolders& folders, const StagedLibrary& staged,
             const std::string& safety)
        : files_(files), folders_(folders), staged_(staged), safety_(safety + "/") {}

    std::vector<SwapMove> make() {
        const bool receiptsComeIn = isStaged(staged_.receiptsDatabase);
        for (const Part& part : parts) {
            if (part.comesIn != ComesIn::withReceipts || receiptsComeIn) add(part);
        }
        return std::move(moves_);
    }

  private:
    bool isStaged(std::string_view name) const {
        return files_.status(folders_.pending() / name).has_value();
    }

    void add(const Part& part) {
        const std::string live(part.live);
        for (const char* companion : databaseCompanions) {
            if (part.isDatabase) addMove(live + companion, std::nullopt);
        }
        addMove(live, successorOf(part));
    }

    std::optional<std::string> successorOf(const Part& part) const {
        if (part.comesIn == ComesIn::never) return std::nullopt;
        const std::string_view name = staged_.*part.staged;
        if (part.comesIn != ComesIn::always && !isStaged(name)) return std::nullopt;
        return folders_.libraryPrefix + (Path(folders_.names.pending) / name).native();
    }

    void addMove(const std::string& live, std::optional<std::string> staged) {
        moves_.push_back({folders_.libraryPrefix + live, std::move(staged), safety_ + live});
    }

    FileSystem& files_;
    const RestoreFolders& folders_;
    const StagedLibrary& staged_;
    std::string safety_;
    std::vector<SwapMove> moves_;
};

}  // namespace

std::vector<SwapMove> restoreMoves(FileSystem& files, const RestoreFolders& folders,
                                   const StagedLibrary& staged, const std::string& safety) {
    return MovePlan(files, folders, staged, safety).make();
}

}  // namespace nookery
