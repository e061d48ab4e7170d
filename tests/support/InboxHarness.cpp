#include "support/InboxHarness.h"

#include <algorithm>
#include <set>

namespace nookery::testing {

InboxHarness::InboxHarness(TestPlatform& testWorld, TestPlatform& libraryWorld)
    : world(testWorld), home(libraryWorld), layout(libraryWorld.layout()) {}

void InboxHarness::start() {
    store.reset();
    store = std::make_unique<CrumbStore>(world.platform(), layout, LibraryAccess::writing);
    noticesArrive_ = store->intakeNotice().subscribe([this](const auto& notice) {
        if (notice) notices.push_back(notice->title);
    });
    world.resultOf(store->open(SessionLength::lasting));
    reportsArrive_ = store->inboxes().report().subscribe([this](const auto& report) {
        if (report) reports.push_back(*report);
    });
    world.time.settle();
}

Path InboxHarness::drop(const Path& relative, std::string_view content) {
    const Path path =
        home.folder.write(inbox().lexically_relative(home.folder.path()) / relative, content);
    report(inbox(), *relative.begin());
    return path;
}

Path InboxHarness::dropInCloud(const Path& relative, std::string_view content) {
    const Path path =
        home.folder.write(cloudInbox().lexically_relative(home.folder.path()) / relative, content);
    report(cloudInbox(), *relative.begin());
    return path;
}

void InboxHarness::report(const Path& folder, const Path& name) {
    world.directoryEvents.report(folder, {.names = {name}});
}

std::vector<std::string> InboxHarness::left(const Path& folder) const {
    if (!home.realFiles->status(folder)) return {};
    return home.folder.filesBelow(folder.lexically_relative(home.folder.path()));
}

std::vector<std::string> InboxHarness::titles() const {
    std::vector<std::string> titles;
    for (const auto& item : *store->items()) titles.push_back(item->title);
    std::sort(titles.begin(), titles.end());
    return titles;
}

CrumbItemPointer InboxHarness::find(const std::string& title) const {
    for (const auto& item : *store->items()) {
        if (item->title == title) return item;
    }
    return nullptr;
}

std::string InboxHarness::disorder() const {
    std::set<std::string> owned;
    for (const auto& item : *store->items()) {
        if (!item->filePath) continue;
        if (!home.realFiles->status(*item->filePath)) return "missing: " + *item->filePath;
        owned.insert(Path(*item->filePath).filename());
    }
    if (!home.realFiles->status(layout.items())) return "";
    for (const auto& entry : home.realFiles->list(layout.items())) {
        if (!owned.contains(entry.name)) return "nobody's: " + entry.name.native();
    }
    return "";
}

}  // namespace nookery::testing
