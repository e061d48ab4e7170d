#pragma once

#include <memory>
#include <string>
#include <vector>

#include "collection/store/CrumbStore.h"
#include "support/TestPlatform.h"

namespace nookery::testing {

/// A library that watches its inboxes, on virtual time.
class InboxHarness {
  public:
    /// On the library of another world, when one is given: as after a kill.
    explicit InboxHarness(TestPlatform& testWorld) : InboxHarness(testWorld, testWorld) {}
    InboxHarness(TestPlatform& testWorld, TestPlatform& libraryWorld);

    /// Starts, or starts anew.
    void start();
    void close() { store.reset(); }
    void advance(double seconds) { world.time.advance(seconds); }

    Path inbox() const { return layout.inbox(); }
    Path cloudInbox() const { return home.cloud.inbox(); }
    /// Writes below the local inbox and reports it, as the kernel would.
    Path drop(const Path& relative, std::string_view content);
    Path dropInCloud(const Path& relative, std::string_view content);
    void report(const Path& folder, const Path& name);
    /// What lies below a folder, relative, sorted.
    std::vector<std::string> left(const Path& folder) const;

    std::vector<std::string> titles() const;  ///< sorted
    CrumbItemPointer find(const std::string& title) const;
    /// Every memory's original is there, every file in `Items` belongs to one; else what is wrong.
    std::string disorder() const;

    TestPlatform& world;
    TestPlatform& home;  ///< has the folders
    LibraryLayout layout;
    std::unique_ptr<CrumbStore> store;
    std::vector<InboxReport> reports;
    std::vector<std::string> notices;

  private:
    Subscription reportsArrive_;
    Subscription noticesArrive_;
};

}  // namespace nookery::testing
