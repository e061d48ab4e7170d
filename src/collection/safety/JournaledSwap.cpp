#include "collection/safety/JournaledSwap.h"

#include <algorithm>
#include <cerrno>

#include "foundation/DurableFile.h"
#include "foundation/Json.h"

namespace nookery {
namespace {

constexpr std::size_t maximumJournalByteCount = 1 << 20;

Json toJson(const SwapMove& move) {
    Json object{{"live", move.live}, {"safety", move.safety}};
    if (move.staged) object["staged"] = *move.staged;
    return object;
}

SwapMove moveFromJson(const Json& object) {
    return {requiredString(object, "live"), optionalString(object, "staged"),
            requiredString(object, "safety")};
}

}  // namespace

JournaledSwap::JournaledSwap(FileSystem& files, Path root, Path journal,
                             std::vector<SwapMove> moves, bool beingUndone)
    : files_(files),
      root_(std::move(root)),
      journal_(std::move(journal)),
      moves_(std::move(moves)),
      beingUndone_(beingUndone) {}

JournaledSwap JournaledSwap::begin(FileSystem& files, Path root, Path journal,
                                   std::vector<SwapMove> moves) {
    JournaledSwap swap(files, std::move(root), std::move(journal), std::move(moves), false);
    for (const SwapMove& move : swap.moves_) {
        if (swap.exists(move.safety)) throw FileError("move", swap.root_ / move.safety, EEXIST);
        if (move.staged && !swap.exists(*move.staged)) {
            throw FileError("move", swap.root_ / *move.staged, ENOENT);
        }
    }
    try {
        swap.writeJournal();
    } catch (const FileError&) {
        // It may be there all the same, and must not be taken for one of a swap that goes on.
        removeTree(files, swap.journal_);
        throw;
    }
    return swap;
}

std::optional<JournaledSwap> JournaledSwap::find(FileSystem& files, Path root, Path journal) {
    if (!files.status(journal)) return std::nullopt;
    const Json object = readJsonFile(files, journal, {.maximumByteCount = maximumJournalByteCount});
    const std::string direction = requiredString(object, "direction");
    if (!object.contains("moves") || (direction != "forward" && direction != "back")) {
        throw JsonError("The journal " + displayName(journal) + " cannot be understood.");
    }
    std::vector<SwapMove> moves;
    for (const Json& move : object["moves"]) moves.push_back(moveFromJson(move));
    if (moves.empty()) throw JsonError("The journal " + displayName(journal) + " names no move.");
    return JournaledSwap(files, std::move(root), std::move(journal), std::move(moves),
                         direction == "back");
}

void JournaledSwap::finish() {
    // What is staged leaves its place last; once it is gone, its step is done, and so are all steps
    // before it. Where those went away, what lies there by now belongs to what came in.
    const auto lastDone = std::find_if(moves_.rbegin(), moves_.rend(), [this](const auto& step) {
        return step.staged && !exists(*step.staged);
    });
    for (auto step = lastDone.base(); step != moves_.end(); ++step) {
        if (exists(step->live)) move(step->live, step->safety);
        if (step->staged) move(*step->staged, step->live);
    }
}

void JournaledSwap::undo() {
    if (!beingUndone_) {
        beingUndone_ = true;
        writeJournal();
    }
    for (auto step = moves_.rbegin(); step != moves_.rend(); ++step) {
        const bool cameIn = step->staged && !exists(*step->staged);
        if (cameIn) move(step->live, *step->staged);
        if (exists(step->safety)) move(step->safety, step->live);
    }
}

void JournaledSwap::close() {
    files_.removeFile(journal_);
    files_.syncDirectory(journal_.parent_path());
}

void JournaledSwap::writeJournal() const {
    Json moves = Json::array();
    for (const SwapMove& move : moves_) moves.push_back(toJson(move));
    writeDurably(files_, journal_,
                 toPrettyJsonText(Json{{"version", 1},
                                       {"direction", beingUndone_ ? "back" : "forward"},
                                       {"moves", std::move(moves)}}));
}

bool JournaledSwap::exists(const std::string& place) const {
    return files_.status(root_ / place).has_value();
}

void JournaledSwap::move(const std::string& from, const std::string& to) const {
    const Path source = root_ / from;
    const Path target = root_ / to;
    createDirectories(files_, target.parent_path());
    files_.renameExclusive(source, target);
    files_.syncDirectory(target.parent_path());
    files_.syncDirectory(source.parent_path());
}

}  // namespace nookery
