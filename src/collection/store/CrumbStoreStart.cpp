// Start-up, in its fixed order.

#include <fmt/format.h>

#include "collection/database/LibraryLoader.h"
#include "collection/store/CrumbStore.h"
#include "collection/store/CrumbStoreParts.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/TextEmbedder.h"

namespace nookery {
CrumbStore::Parts::Parts(const Platform& platformServices, LibraryLayout libraryLayout,
                         LibraryAccess libraryAccess)
    : platform(platformServices),
      layout(std::move(libraryLayout)),
      access(libraryAccess),
      annotations(platform),
      search(platform, retrieval, memories, annotations),
      enrichment(platform, layout, enrichmentOwner()) {}

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
    parts_->resumeEnrichment();
    parts_->search.setText("", defaultSearchLimit, SearchDepth::deep);
    if (parts_->capture && !parts_->startFailure) parts_->capture->recover();
    if (length == SessionLength::oneCommand) return;
    parts_->startInboxes();
    startBackgroundWork();
    parts_->prepareVersions();
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
    std::vector<MemoryAttributes> attributes;
    attributes.reserve(all.size());
    for (const auto& item : all) attributes.push_back(attributesOf(*item));
    retrieval.putAll(all, attributes);
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

void CrumbStore::Parts::prepareVersions() {
    if (!retrieval.prepareVersions()) return;
    platform.mainQueue.async(guard.guarded([this] { prepareVersions(); }));
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
