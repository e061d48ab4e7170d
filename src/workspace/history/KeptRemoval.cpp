#include "workspace/history/KeptRemoval.h"

#include <algorithm>

#include "collection/originals/ManagedOriginal.h"
#include "platform/Log.h"
#include "workspace/history/KeptContents.h"
#include "workspace/history/LibraryValues.h"

namespace nookery {
namespace {

/// What the main thread writes at a time.
constexpr std::size_t partByteCount = std::size_t{256} << 10;

std::unordered_set<Uuid> protectedAmong(const CrumbStore& store, const std::vector<Uuid>& ids) {
    std::unordered_set<Uuid> found;
    for (const Uuid& id : ids) {
        const auto item = store.item(id);
        if (item && isProtected(store, *item)) found.insert(id);
    }
    return found;
}

}  // namespace

KeptRemoval::KeptRemoval(HistoryParts& parts, std::shared_ptr<Step> step,
                         std::function<void(Step&)> complete)
    : parts_(parts),
      layout_(parts.layout),
      step_(std::move(step)),
      complete_(std::move(complete)),
      isOwnStep_(true),
      protected_(protectedAmong(parts.store, step_->memories)) {
    AnnotationsByID attached = parts.store.annotations().of(
        std::unordered_set<Uuid>(step_->memories.begin(), step_->memories.end()));
    std::erase_if(attached, [&](const auto& entry) { return protected_.contains(entry.first); });
    add(encodeAnnotations(attached));
}

KeptRemoval::KeptRemoval(HistoryParts& parts, std::shared_ptr<Step> step, std::int64_t number)
    : KeptRemoval(parts, std::move(step)) {
    number_ = number;
    isOwnStep_ = false;
}

void KeptRemoval::add(StepRecords::Bytes part) {
    byteCount_ += static_cast<std::int64_t>(part.size());
    if (byteCount_ <= StepLog::mostBytes) return contents_.push_back(std::move(part));
    step_->isTooLarge = true;
    contents_.clear();
}

void KeptRemoval::read(SQLiteDatabase& database, const std::unordered_set<Uuid>& memories,
                       const std::vector<Path>& originals) {
    step_->memories.clear();
    step_->protectedMemories.clear();
    step_->originals.clear();
    step_->isTooLarge = false;
    for (const Uuid& id : memories) {
        (protected_.contains(id) ? step_->protectedMemories : step_->memories).push_back(id);
    }
    std::sort(step_->memories.begin(), step_->memories.end());
    std::set<Path> own;
    database.keepRows(step_->memories, partByteCount, [&](const std::vector<KeptTable>& tables) {
        for (const auto& item : itemsOf(tables)) {
            if (!item->filePath) continue;
            const auto place = managedOriginal(layout_, *item->filePath);
            if (place) own.insert(place->lexically_relative(layout_.library()));
        }
        if (!step_->isTooLarge) add(encodeRows(tables));
    });
    if (!step_->isTooLarge) readOriginals(own, originals);
}

void KeptRemoval::readOriginals(const std::set<Path>& own, const std::vector<Path>& originals) {
    auto sidecar = Sidecar::openForReading(layout_.sidecar());
    for (const Path& original : originals) {
        if (!own.contains(original)) continue;
        step_->originals.push_back(
            {.relativePath = original, .facts = sidecar.originalsAt(original)});
    }
}

void KeptRemoval::keep(const std::optional<std::string>& snapshotName,
                       std::function<void(const SaveFailure&)> kept) {
    try {
        step_->snapshotName = snapshotName;
        if (complete_) complete_(*step_);
        if (isOwnStep_) {
            number_ = parts_.log.begin(*step_);
        } else {
            const auto summary = parts_.log.find(*number_);
            parts_.log.write(*number_, *step_, summary ? summary->state : StepState::undoing);
        }
    } catch (const Error& error) {
        return kept(SaveFailure(error));
    }
    parts_.log.keep(*number_, std::exchange(contents_, {}), std::move(kept));
}

/// The memories are gone, whatever becomes of the notes about it: what cannot be written now is
/// found out at the next start.
void KeptRemoval::logged(const std::function<void()>& change) const {
    try {
        change();
    } catch (const Error& error) {
        parts_.platform.log.line("NOOKERY history save error: " + error.description());
    }
}

void KeptRemoval::removed(const std::vector<TrashedOriginal>& trashed) {
    for (RemovedOriginal& original : step_->originals) {
        const auto place = std::find_if(trashed.begin(), trashed.end(), [&](const auto& each) {
            return each.relativePath == original.relativePath;
        });
        if (place != trashed.end()) original.trashPlace = place->place;
    }
    if (!isOwnStep_) return;
    logged([&] {
        if (step_->clearsLibrary) {
            parts_.log.clear();
        } else {
            parts_.log.finish(*number_, *step_);
        }
        parts_.log.makeDurable();
    });
}

void KeptRemoval::abandoned() {
    if (!number_) return;
    logged([&] {
        if (isOwnStep_) {
            parts_.log.drop(*number_);
        } else {
            parts_.log.forgetContents(*number_);
        }
    });
}

}  // namespace nookery
