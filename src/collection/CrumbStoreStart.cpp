// Start-up, in its fixed order, and what the background hands back to the store.

#include <fmt/format.h>

#include "collection/CrumbStore.h"
#include "collection/CrumbStoreParts.h"
#include "collection/LibraryLoader.h"
#include "collection/TextForMeaning.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/TextEmbedder.h"

namespace nookery {
namespace {

constexpr std::string_view embeddingTask = "embedding";

}  // namespace

CrumbStore::Parts::Parts(const Platform& platformServices, LibraryLayout libraryLayout,
                         LibraryAccess libraryAccess)
    : platform(platformServices),
      layout(std::move(libraryLayout)),
      access(libraryAccess),
      annotations(platform),
      search(platform, retrieval, memories, annotations),
      embeddings(platform, {.textOf = [this](const Uuid& id) { return embeddingTextOf(id); },
                            .store = [this](const auto& results) { storeEmbeddings(results); }}) {}

void CrumbStore::start(SessionLength length) {
    if (parts_->access == LibraryAccess::writing) {
        parts_->lock = LibraryLock::acquire(parts_->platform.files, parts_->layout,
                                            parts_->platform.clock.now());
        removeInterruptedWrites(parts_->layout, parts_->platform);
        parts_->restoreNotice = completePendingSnapshotRestore(parts_->platform, parts_->layout);
    }
    parts_->openDatabase();
    parts_->createServices();
    if (length == SessionLength::lasting && parts_->recoverySnapshots) {
        parts_->recoverySnapshots->checkAtLaunch();
    }
    parts_->loadMemories();
    parts_->loadGroups();
    parts_->loadRichTexts();
    parts_->loadAnnotations();
    parts_->buildIndex();
    parts_->loadEmbeddings();
    parts_->resumeEmbeddings();
    parts_->search.setText("", defaultSearchLimit, SearchDepth::deep);
    if (parts_->capture && !parts_->startFailure) parts_->capture->recover();
    if (length == SessionLength::oneCommand) return;
    parts_->startInboxes();
    startBackgroundWork();
}

/// Runs one step of the loading. A failure is logged behind the prefix, kept as the reason why the
/// library is not whole, and leaves what the step loads empty.
void CrumbStore::Parts::load(std::string_view logPrefix, const std::function<void()>& step) {
    if (!database) return;
    try {
        step();
    } catch (const Error& error) {
        startFailure = logged(logPrefix, error.description());
    }
}

void CrumbStore::Parts::openDatabase() {
    try {
        if (access == LibraryAccess::writing) {
            database = SQLiteDatabase::open(platform.files, layout);
            sidecar = Sidecar::open(platform.files, layout);
        } else {
            database = SQLiteDatabase::openForReading(layout);
        }
    } catch (const Error& error) {
        startFailure = logged("Crumb SQLite load/migration error: ", error.description());
    }
}

void CrumbStore::Parts::createServices() {
    if (!database || !sidecar) return;
    recoverySnapshots = std::make_unique<CrumbRecoverySnapshots>(platform, layout);
    capture = std::make_unique<CaptureService>(
        platform, layout, *sidecar,
        CaptureService::Owner{
            .commit = [this](const auto& prepared) { return commitCaptured(prepared); },
            .find = [this](const Uuid& id) { return memories.find(id); },
            .all = [this]() -> const CrumbItemList& { return *memories.all(); },
            .announce = [this](const IntakeNotice& notice) { intakeNotice.set(notice); },
            .importCountChanged = [this](int count) { importCountInProgress.set(count); }});
    createInboxes();
}

void CrumbStore::Parts::loadMemories() {
    if (!database) {
        logged("", "Crumb database unavailable.");
        return;
    }
    load("Crumb SQLite load/migration error: ", [this] {
        if (access == LibraryAccess::writing) migrateLegacyFile(*database, layout, platform);
        memories.add(database->loadItems());
    });
}

void CrumbStore::Parts::loadGroups() {
    load("Crumb group load error: ", [this] { groups.set(database->loadGroups()); });
}

void CrumbStore::Parts::loadRichTexts() {
    load("Crumb rich-text load error: ", [this] { richTextByID.set(database->loadRichTexts()); });
}

void CrumbStore::Parts::loadAnnotations() {
    load("NOOKERY settings load error: ", [this] {
        annotations.load();
        annotations.refreshBroughtBack();
    });
}

void CrumbStore::Parts::buildIndex() {
    const CrumbItemList& all = *memories.all();
    std::vector<MemoryFacets> facets;
    facets.reserve(all.size());
    for (const auto& item : all) facets.push_back(facetsOf(*item));
    retrieval.putAll(all, facets);
}

void CrumbStore::Parts::loadEmbeddings() {
    if (platform.embedder == nullptr) return;
    load("Crumb embedding load error: ", [this] {
        const auto current = database->itemsEmbeddedBy(platform.embedder->modelName());
        database->loadEmbeddings([&](const Uuid& id, std::span<const double> vector) {
            if (current.contains(id)) retrieval.setVector(id, vector);
        });
    });
}

/// Memories that no run has embedded yet with this model, and edits noted by earlier runs.
void CrumbStore::Parts::resumeEmbeddings() {
    if (!sidecar || platform.embedder == nullptr) return;
    load("Crumb embedding load error: ", [this] {
        embeddings.add(idsWithoutVectorOf(platform.embedder->modelName()));
        std::vector<Uuid> edited;
        for (const PendingWork& work : sidecar->pendingWork(embeddingTask)) {
            edited.push_back(work.memoryID);
        }
        embeddings.add(edited);
    });
}

std::vector<Uuid> CrumbStore::Parts::idsWithoutVectorOf(const std::string& model) {
    const auto current = database->itemsEmbeddedBy(model);
    std::vector<Uuid> ids;
    for (const auto& item : *memories.all()) {
        if (!current.contains(item->id)) ids.push_back(item->id);
    }
    return ids;
}

void CrumbStore::Parts::renewEmbeddings(const std::vector<Uuid>& ids) {
    withSidecar([&](Sidecar& target) { target.addWork(ids, embeddingTask); });
    embeddings.add(ids);
}

std::optional<std::string> CrumbStore::Parts::embeddingTextOf(const Uuid& id) const {
    const auto item = memories.find(id);
    if (!item) return std::nullopt;
    return textForMeaning(*item);
}

void CrumbStore::Parts::storeEmbeddings(const EmbeddingWorker::Results& results) {
    if (refusal()) return;
    SQLiteDatabase::Embeddings made;
    std::vector<Uuid> ids;
    for (const auto& [id, vector] : results) {
        // A text without a meaning that the model knows is stored as an empty vector: done, too.
        ids.push_back(id);
        made.emplace_back(id, vector ? std::vector<double>(vector->begin(), vector->end())
                                     : std::vector<double>());
    }
    const auto failure = save("Crumb SQLite save error: ", [&](SQLiteDatabase& target) {
        target.saveEmbeddings(made, platform.embedder->modelName(), platform.clock.now());
    });
    for (const auto& [id, vector] : made) retrieval.setVector(id, vector);
    if (!failure) withSidecar([&](Sidecar& target) { target.finishWork(ids, embeddingTask); });
}

void CrumbStore::Parts::withSidecar(const std::function<void(Sidecar&)>& change) {
    if (!sidecar) return;
    try {
        change(*sidecar);
    } catch (const Error& error) {
        platform.log.line("NOOKERY sidecar save error: " + error.description());
    }
}

}  // namespace nookery
