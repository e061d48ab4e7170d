#include "workspace/WorkspaceWorld.h"

#include <fmt/format.h>

#include "foundation/DurableFile.h"
#include "support/StoreChanges.h"

namespace nookery::testing {

void WorkspaceWorld::start(LibraryExtent extent) {
    store = std::make_unique<CrumbStore>(platform, world.layout(), LibraryAccess::writing);
    wait(store->open(SessionLength::oneCommand, extent));
    history = std::make_unique<History>(platform, world.layout(), *store);
    edits = std::make_unique<Edits>(platform, *store, *history);
    if (beforeRecovery) beforeRecovery(*history);
    wait(history->recover());
}

void WorkspaceWorld::end() {
    world.time.settle();
    edits.reset();
    history.reset();
    wait(store->close());
    store.reset();
}

void WorkspaceWorld::die() {
    edits.reset();
    history.reset();
    store.reset();
    world.files.disarm();
    world.time.hasCrashed = {};
    world.time.settle();
}

Uuid WorkspaceWorld::addNote(const std::string& title, const std::string& text) {
    CrumbItem item;
    item.id = Uuid::random();
    item.title = title;
    item.text = text;
    item.searchableText = text;
    item.createdAt = world.time.now();
    bringIn(item);
    return item.id;
}

Uuid WorkspaceWorld::addFile(const std::string& name, const std::string& content) {
    const Path source = world.folder / "source" / name;
    std::filesystem::create_directories(source.parent_path());
    writeDurably(*world.realFiles, source, content);
    const auto report = wait(store->capture({.sources = {CaptureFile{source}}}));
    return report.added.at(0);
}

void WorkspaceWorld::bringIn(const CrumbItem& item) {
    store->addRecords({std::make_shared<const CrumbItem>(item)}, {},
                      [](const SaveFailure& failure) { failure.throwIfFailed(); });
    world.time.settle();
}

void WorkspaceWorld::changeBeside(const Uuid& id, const std::function<void(CrumbItem&)>& change) {
    CrumbItem changed = *store->item(id);
    change(changed);
    testing::change(*store, changed).throwIfFailed();
}

void WorkspaceWorld::retitle(const Uuid& id, const std::string& title,
                             std::optional<EditingToken> token) {
    const auto outcome = wait(edits->edit(id, {.title = TextPatch{titleOf(id), title}}, token));
    if (!outcome.conflicts.empty()) throw std::logic_error("a conflict");
}

std::string WorkspaceWorld::says() const {
    std::string text;
    for (const auto& item : *store->items()) {
        text += fmt::format("{} {} {} {} {}", item->title, item->note, item->text.value_or("-"),
                            item->searchableText, store->groupNameOf(*item));
        for (const auto& tag : store->tagsOf(item->id)) text += " #" + tag;
        const auto date = store->bringBackDates()->find(item->id);
        if (date != store->bringBackDates()->end()) {
            text += fmt::format(" back {}", date->second.secondsSince1970);
        }
        text += '\n';
    }
    for (const auto& group : *store->groups()) text += group.name + "\n";
    return text;
}

std::vector<std::string> WorkspaceWorld::stepNames() const {
    std::vector<std::string> names;
    for (const auto& step : history->steps()) names.push_back(step.name);
    return names;
}

std::string WorkspaceWorld::contentOf(const Uuid& id) {
    const auto item = store->item(id);
    if (!item || !item->filePath || !world.realFiles->status(*item->filePath)) return "-";
    return readWholeFile(*world.realFiles, *item->filePath, 1 << 20);
}

std::string WorkspaceWorld::sidecarBytes() {
    std::string bytes;
    for (const char* suffix : {"", "-wal"}) {
        const Path file = world.layout().sidecar().native() + suffix;
        if (world.realFiles->status(file)) {
            bytes += readWholeFile(*world.realFiles, file, 1 << 28);
        }
    }
    return bytes;
}

}  // namespace nookery::testing
