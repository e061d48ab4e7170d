#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>

#include "backends/files/CloudFolder.h"
#include "backends/files/InotifyDirectoryEvents.h"
#include "platform/work/ThreadQueues.h"
#include "support/TemporaryDirectory.h"
#include "support/VirtualWorld.h"

namespace nookery {
namespace {

/// Gathers reports from a watch's queue, for a test that waits on another thread.
class Reports {
  public:
    void add(const DirectoryReport& report) {
        const std::lock_guard lock(mutex_);
        for (const Path& name : report.names) names_.insert(name);
        isGone_ |= report.isGone;
        changed_.notify_all();
    }
    /// False when it does not come true in a long time.
    template <typename Condition>
    bool waitFor(Condition condition) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return condition(*this); });
    }
    bool has(const std::string& name) const { return names_.contains(name); }
    bool isGone() const { return isGone_; }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::set<std::string> names_;
    bool isGone_ = false;
};

TEST(InotifyDirectoryEvents, TellExactNamesAndTheFoldersEnd) {
    const testing::TemporaryDirectory folder;
    testing::RecordingLog log;
    const auto queue = makeThreadQueue("test", log);
    const auto events = makeInotifyDirectoryEvents();
    const Path watched = folder.write("inbox/there before", "").parent_path();
    const auto reports = std::make_shared<Reports>();
    const auto watch = events->watch(
        watched, *queue, [reports](const DirectoryReport& report) { reports->add(report); });
    const std::string odd = "caf\xE9\n \xF0\x9F\x8C\xB1";
    folder.write(Path("inbox") / odd, "x");
    folder.write("outside", "x");
    for (int i = 0; i < 2000; ++i) folder.write("inbox/n" + std::to_string(i), "x");
    std::filesystem::rename(folder / "outside", folder / "inbox/moved");
    EXPECT_TRUE(reports->waitFor([](const Reports& all) { return all.has("moved"); }));
    EXPECT_TRUE(reports->waitFor([&](const Reports& all) {
        return all.has(odd) && all.has("n0") && all.has("n1999") && !all.has("there before");
    }));
    std::filesystem::remove_all(watched);
    EXPECT_TRUE(reports->waitFor([](const Reports& all) { return all.isGone(); }));
    EXPECT_THROW(events->watch(watched, *queue, {}), FileError);
    EXPECT_THROW(events->watch(folder.write("a file", ""), *queue, {}), FileError);
}

TEST(CloudFolder, IsAvailableOnlyWhileTheContainerIsThere) {
    const testing::TemporaryDirectory folder;
    const auto files = makePosixFileSystem();
    testing::MemoryDefaults defaults;
    const auto cloud = makeCloudFolder(*files, defaults, std::nullopt);
    EXPECT_FALSE(cloud->locate().container);
    EXPECT_FALSE(cloud->locate().isWanted);
    defaults.set(cloudFolderDefaultsKey, (folder / "drive").native());
    EXPECT_FALSE(cloud->locate().container);
    EXPECT_TRUE(cloud->locate().isWanted);
    folder.write("drive/other.txt", "");
    EXPECT_FALSE(cloud->locate().container) << "nothing is made on a drive that may not be mounted";
    const Path container = folder / "drive" / cloudContainerName;
    folder.write("drive/iCloud.com.kestrel.Nookery/Documents/here.jpg", "x");
    folder.write("drive/iCloud.com.kestrel.Nookery/Documents/away.jpg.nextcloud", "");
    folder.write("drive/iCloud.com.kestrel.Nookery/Documents/.asleep.jpg.icloud", "");
    EXPECT_EQ(cloud->locate().container, container);

    const Path documents = container / "Documents";
    EXPECT_EQ(cloud->presence(documents / "here.jpg"), CloudPresence::local);
    EXPECT_EQ(cloud->presence(documents / "away.jpg"), CloudPresence::placeholder);
    EXPECT_EQ(cloud->presence(documents / "asleep.jpg"), CloudPresence::placeholder);
    EXPECT_EQ(cloud->presence(documents / "never.jpg"), CloudPresence::absent);
    EXPECT_EQ(cloud->presence(documents), CloudPresence::absent);
    EXPECT_EQ(cloud->nameBehindPlaceholder("away.jpg.nextcloud"), "away.jpg");
    EXPECT_EQ(cloud->nameBehindPlaceholder(".asleep.jpg.icloud"), "asleep.jpg");
    for (const char* plain : {"here.jpg", ".icloud", ".nextcloud", "a.icloud", ".hidden"}) {
        EXPECT_EQ(cloud->nameBehindPlaceholder(plain), std::nullopt) << plain;
    }
    EXPECT_THROW(cloud->requestDownload(documents / "away.jpg"), Error);

    const auto given = makeCloudFolder(*files, defaults, folder / "elsewhere");
    EXPECT_FALSE(given->locate().container) << "what is given wins over the setting";
}

}  // namespace
}  // namespace nookery
