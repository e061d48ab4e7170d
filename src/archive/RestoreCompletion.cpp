#include <fmt/format.h>

#include "archive/ArchiveCheck.h"
#include "archive/ArchivePlaces.h"
#include "archive/ArchiveRestore.h"
#include "archive/RestorePlaces.h"
#include "archive/RestoreRelocation.h"
#include "collection/safety/RestoreError.h"
#include "collection/safety/SnapshotRepository.h"
#include "platform/Log.h"
#include "platform/UserDefaults.h"

namespace nookery {
namespace {

constexpr const char* restoredText =
    "Your archived memories, People and Pets associations, and available Receipts have been "
    "restored. A safety copy of your previous collection was preserved.";

class ArchiveSteps final : public RestoreSteps {
  public:
    ArchiveSteps(const Platform& platform, const LibraryLayout& layout)
        : platform_(platform),
          layout_(layout),
          folders_(archiveRestoreFolders(platform.files, layout)) {}

    RestoreFolders folders() const override { return folders_; }
    StagedLibrary staged() const override {
        return {.database = archive::databaseName,
                .sidecar = snapshot::sidecarName,
                .items = archive::originalsName,
                .receiptsDatabase = archive::receiptsDatabaseName,
                .receiptOriginals = archive::receiptOriginalsName};
    }
    bool waitsAfterFailure() const override { return true; }

    std::string chooseSafety() const override {
        const Path safety = folders_.root / folders_.safety;
        if (!platform_.files.status(safety)) return folders_.safety.native();
        throw RestoreError("A previous pre-restore safety copy exists at " + displayName(safety) +
                           ". Move it to a safe location before completing another restore.");
    }
    void makeReady() override {
        relocateOriginals(platform_, layout_, folders_.pending(), readContents());
    }
    void applySettings() override {
        const auto state = readLocalState(platform_.files, folders_.pending(), readContents());
        for (const auto& [key, bytes] : state) platform_.defaults.set(key, bytes);
    }

    std::string nameInLog() const override { return "Complete archive"; }
    std::string restoredDetail(const Path&) const override try {
        const auto count = withdrawnPathCount(platform_.files, layout_);
        if (count == 0) return restoredText;
        return fmt::format(
            "{} {} named a file that is not part of the archive. The name was kept among the words "
            "of the memory or in the note of the receipt, and the file was not taken in.",
            restoredText, count == 1 ? "One record" : fmt::format("{} records", count));
    } catch (const Error& error) {
        // The restore is done; what the library lacks can be seen in it.
        platform_.log.line("NOOKERY restore note error: " + error.description());
        return restoredText;
    }
    std::string failedDetail(const std::string& cause) const override {
        const std::string_view sentence =
            cause.ends_with('.') ? std::string_view(cause).substr(0, cause.size() - 1) : cause;
        return "Your restore could not finish: " + std::string(sentence) +
               ". The pending archive has been preserved.";
    }

  private:
    ArchiveContents readContents() const {
        return readArchiveManifest(platform_.files, folders_.pending());
    }

    const Platform& platform_;
    LibraryLayout layout_;
    RestoreFolders folders_;
};

}  // namespace

std::optional<RestoreNotice> completePendingArchiveRestore(const Platform& platform,
                                                           const LibraryLayout& layout) {
    if (!platform.files.statusFollowingLinks(layout.library())) return std::nullopt;
    ArchiveSteps steps(platform, layout);
    return completeRestore(platform, steps);
}

}  // namespace nookery
