#include "collection/store/LibraryOpener.h"

#include <utility>

#include "collection/capture/CaptureRecovery.h"
#include "collection/database/LibraryLoader.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/TextEmbedder.h"

namespace nookery {
namespace {

constexpr std::uint64_t stepCount = 5;

LibraryOpening openAll(const Platform& platform, const LibraryLayout& layout,
                       LibraryAccess access) {
    LibraryOpening opening{.databases = std::make_shared<OpenedDatabases>()};
    OpenedDatabases& opened = *opening.databases;
    if (access == LibraryAccess::writing) {
        opened.lock = LibraryLock::acquire(platform.files, layout, platform.clock.now());
        removeInterruptedWrites(layout, platform);
        opening.restoreNotice = completePendingSnapshotRestore(platform, layout);
    }
    try {
        if (access == LibraryAccess::writing) {
            opened.database = SQLiteDatabase::open(platform.files, layout);
            opened.sidecar = Sidecar::open(platform.files, layout);
        } else {
            opened.database = SQLiteDatabase::openForReading(layout);
        }
    } catch (const Error& error) {
        platform.log.line("Crumb SQLite load/migration error: " + error.description());
        opening.failure = error.description();
    }
    return opening;
}

/// What is loaded, before it belongs to the main thread.
struct Loaded {
    LibraryExtent extent = LibraryExtent::index;
    PreparedMemories memories{{}};
    std::vector<CrumbGroup> groups;
    RichTexts richTexts;
    LoadedAnnotations annotations;
    std::unique_ptr<RetrievalEngine> retrieval{};  ///< none without an index
    LibraryOpening opening;
};

/// Loads one part after the other. A failure is logged behind the part's prefix, kept as the reason
/// why the library is not whole, and leaves the part empty.
class Loading {
  public:
    Loading(const Platform& platform, const LibraryLayout& layout, LibraryAccess access,
            LibraryExtent extent, LibraryOpening opening)
        : platform_(platform), layout_(layout), access_(access) {
        loaded_.extent = extent;
        OpenedDatabases& opened = *opening.databases;
        if (opened.database) database_ = &*opened.database;
        if (opened.sidecar) sidecar_ = &*opened.sidecar;
        loaded_.opening = std::move(opening);
    }

    Loaded run(const OperationControl& control) {
        const auto tell = [&](const char* what, std::uint64_t done) {
            control.report({what, done, stepCount});
        };
        tell("opening memories", 0);
        loadMemories();
        step("Crumb group load error: ", [&] { loaded_.groups = database_->loadGroups(); });
        tell("opening settings", 1);
        step("NOOKERY settings load error: ", [&] {
            loaded_.annotations =
                isOnDemand() ? loadBringBackDates(platform_) : loadAnnotations(platform_);
        });
        if (hasIndex()) {
            tell("building the index", 2);
            buildIndex();
            tell("opening vectors", 3);
            step("Crumb embedding load error: ", [&] { loadVectors(); });
        }
        tell("looking for unfinished work", 4);
        step("NOOKERY enrichment load error: ", [&] { findUnfinishedWork(); });
        return std::move(loaded_);
    }

  private:
    bool isOnDemand() const { return loaded_.extent == LibraryExtent::onDemand; }
    bool hasIndex() const {
        return loaded_.extent == LibraryExtent::fewSearches ||
               loaded_.extent == LibraryExtent::index;
    }
    bool hasBacklog() const {
        return loaded_.extent == LibraryExtent::records || loaded_.extent == LibraryExtent::index;
    }

    template <typename Work>
    void step(std::string_view logPrefix, const Work& work) {
        if (database_ == nullptr) return;
        try {
            work();
        } catch (const Error& error) {
            platform_.log.line(std::string(logPrefix) + error.description());
            loaded_.opening.failure = error.description();
        }
    }

    void loadMemories() {
        if (database_ == nullptr) platform_.log.line("Crumb database unavailable.");
        step("Crumb SQLite load/migration error: ", [&] {
            if (access_ == LibraryAccess::writing) {
                migrateLegacyFile(*database_, layout_, platform_);
            }
            if (isOnDemand() && canReadOnDemand()) return;
            if (isOnDemand()) loaded_.extent = LibraryExtent::records;
            const TextEmbedder* embedder = platform_.embedder;
            LoadedItems all =
                database_->loadItemsWithBodies(embedder == nullptr ? "" : embedder->modelName());
            if (embedder != nullptr) embedded_ = std::move(all.embedded);
            loaded_.richTexts = std::move(all.richTexts);
            loaded_.memories = PreparedMemories(std::move(all.items));
        });
    }

    bool canReadOnDemand() {
        ItemQueries queries(*database_);
        if (access_ == LibraryAccess::reading) queries.holdState();
        return queries.areAllMemories();
    }

    void buildIndex() {
        loaded_.retrieval = std::make_unique<RetrievalEngine>();
        std::unordered_map<Uuid, const std::string*> groupNames;
        for (const CrumbGroup& group : loaded_.groups) groupNames.emplace(group.id, &group.name);
        std::vector<MemoryAttributes> attributes;
        attributes.reserve(loaded_.memories.items.size());
        for (const auto& item : loaded_.memories.items) {
            MemoryAttributes& each = attributes.emplace_back();
            const auto tags = loaded_.annotations.manualTags.find(item->id);
            if (tags != loaded_.annotations.manualTags.end()) each.manualTags = tags->second;
            const auto group = item->groupID ? groupNames.find(*item->groupID) : groupNames.end();
            if (group != groupNames.end()) each.groupName = *group->second;
        }
        loaded_.retrieval->putAll(loaded_.memories.items, attributes,
                                  loaded_.extent == LibraryExtent::fewSearches
                                      ? RetrievalEngine::Expected::fewSearches
                                      : RetrievalEngine::Expected::manySearches);
    }

    void loadVectors() {
        if (embedded_.empty()) return;
        database_->loadEmbeddings([&](const Uuid& id, std::span<const double> vector) {
            if (embedded_.contains(id)) loaded_.retrieval->setVector(id, vector);
        });
    }

    void findUnfinishedWork() {
        if (hasBacklog()) findBacklogOfAll();
        // Only a whole library can tell what belongs to nobody.
        if (sidecar_ == nullptr || loaded_.opening.failure) return;
        removeInterruptedCaptures(platform_, layout_, *sidecar_, [this] {
            return isOnDemand() ? database_->loadItems() : loaded_.memories.items;
        });
    }

    void findBacklogOfAll() {
        std::vector<PendingWork> work;
        if (sidecar_ != nullptr) {
            work = sidecar_->pendingWork();
        } else if (platform_.files.status(layout_.sidecar())) {
            work = Sidecar::openForReading(layout_.sidecar()).pendingWork();
        }
        loaded_.opening.backlog = findBacklog(loaded_.memories.items, work, embedded_);
    }

    const Platform& platform_;
    const LibraryLayout& layout_;
    LibraryAccess access_;
    SQLiteDatabase* database_ = nullptr;
    Sidecar* sidecar_ = nullptr;
    std::unordered_set<Uuid> embedded_;
    Loaded loaded_;
};

/// What the contents take over, on the main thread.
LibraryOpening takeOver(LibraryContents& contents, Loaded& loaded) {
    OpenedDatabases& opened = *loaded.opening.databases;
    contents.lock = std::move(opened.lock);
    contents.database = std::move(opened.database);
    contents.sidecar = std::move(opened.sidecar);
    contents.extent = loaded.extent;
    if (loaded.extent == LibraryExtent::onDemand) {
        contents.memories.readOnDemand(
            [&contents](const Uuid& id) { return contents.itemQueries().item(id); });
    } else {
        contents.memories.load(std::move(loaded.memories));
    }
    contents.groups.set(std::move(loaded.groups));
    contents.richTextByID.set(std::move(loaded.richTexts));
    contents.annotations.adopt(std::move(loaded.annotations));
    contents.retrieval = std::move(loaded.retrieval);
    loaded.opening.databases.reset();
    return std::move(loaded.opening);
}

}  // namespace

OperationPointer<LibraryOpening> LibraryOpener::openDatabases(const LibraryContents& contents) {
    return startOperation(contents.platform.filesQueue, contents.platform.mainQueue,
                          [platform = contents.platform, layout = contents.layout,
                           access = contents.access](const OperationControl& control) {
                              control.report({"opening the library", 0, 0});
                              return openAll(platform, layout, access);
                          });
}

OperationPointer<LibraryOpening> LibraryOpener::load(LibraryContents& contents,
                                                     const CallbackGuard& owner,
                                                     LibraryOpening opening, LibraryExtent extent) {
    auto operation = Operation<LibraryOpening>::create(contents.platform.mainQueue);
    Task::run(
        contents.platform.filesQueue, contents.platform.mainQueue, owner,
        [platform = contents.platform, layout = contents.layout, access = contents.access, extent,
         opening = std::move(opening), control = operation->control()] {
            return Loading(platform, layout, access, extent, opening).run(control);
        },
        [&contents, operation](Outcome<Loaded> outcome) {
            if (outcome.isDone()) {
                return operation->finish(
                    Outcome<LibraryOpening>::done(takeOver(contents, outcome.get())));
            }
            const Failure* failure = outcome.failure();
            operation->finish(failure == nullptr ? Outcome<LibraryOpening>::stopped()
                                                 : Outcome<LibraryOpening>::failed(*failure));
        });
    return operation;
}

}  // namespace nookery
