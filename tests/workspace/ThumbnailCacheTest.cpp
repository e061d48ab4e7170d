#include "workspace/ThumbnailCache.h"

#include <gtest/gtest.h>

#include "support/StoreChanges.h"
#include "support/TestPlatform.h"
#include "workspace/ThumbnailReading.h"

namespace nookery {
namespace {

constexpr std::string_view pngMark = "\x89PNG\r\n\x1a\n";

class ThumbnailCacheTest : public ::testing::Test {
  protected:
    ThumbnailCacheTest() { world_.resultOf(store_.open(SessionLength::oneCommand)); }

    /// A picture of as many pixels as `length` and the mark have bytes for.
    Uuid add(const std::string& name, std::size_t length, std::string_view end = "") {
        const std::string content = std::string(pngMark) + std::string(length, 'x');
        const Path file = world_.folder.write(name, content + std::string(end));
        CrumbItem item;
        item.id = Uuid::random();
        item.kind = CrumbKind::image;
        item.filePath = file;
        store_.addRecords({std::make_shared<const CrumbItem>(item)}, {},
                          [](const SaveFailure& failure) { EXPECT_FALSE(failure); });
        world_.time.settle();
        return item.id;
    }
    /// The width of the thumbnail once it is there; 0 for none.
    int widthOf(const Uuid& id) { return widthOf(id, cache_); }
    int widthOf(const Uuid& id, ThumbnailCache& cache) {
        cache.want({id});
        world_.time.advance(0);
        const PicturePointer picture = cache.find(id);
        return picture ? picture->width : 0;
    }
    std::vector<std::string> cachedFiles() { return world_.folder.filesBelow("cache/Thumbnails"); }
    void waitForNextCheck() { world_.time.advance(60); }

    testing::TestPlatform world_;
    Platform platform_ = world_.platform();
    CrumbStore store_{platform_, world_.layout(), LibraryAccess::writing};
    ThumbnailCache cache_{platform_, world_.layout(), store_};
};

TEST_F(ThumbnailCacheTest, AThumbnailFollowsItsOriginalAndOutlivesTheSession) {
    const Uuid id = add("a.png", 22);  // 10 pixels
    int told = 0;
    const Subscription telling = cache_.changed().subscribe([&](const std::vector<Uuid>& ids) {
        told += static_cast<int>(std::count(ids.begin(), ids.end(), id));
    });
    EXPECT_EQ(widthOf(id), 10);
    EXPECT_EQ(widthOf(id), 10);
    EXPECT_EQ(told, 1);
    ASSERT_EQ(cachedFiles().size(), 1U);
    // Another session has it from the cache: what the test's encoder wrote makes two pixels.
    ThumbnailCache later(platform_, world_.layout(), store_);
    EXPECT_EQ(widthOf(id, later), 2);

    world_.folder.write("a.png", std::string(pngMark) + std::string(52, 'x'));
    waitForNextCheck();
    EXPECT_EQ(widthOf(id), 20);
    EXPECT_EQ(told, 2);
    removeTree(world_.files, world_.layout().thumbnails());
    ThumbnailCache afterwards(platform_, world_.layout(), store_);
    EXPECT_EQ(widthOf(id, afterwards), 20) << "it is made again";
    EXPECT_EQ(cachedFiles().size(), 1U);

    world_.files.removeFile(*store_.item(id)->filePath);
    waitForNextCheck();
    EXPECT_EQ(widthOf(id), 0);
    world_.folder.write("a.png", std::string(pngMark) + std::string(7, 'x'));
    waitForNextCheck();
    EXPECT_EQ(widthOf(id), 5);
}

TEST_F(ThumbnailCacheTest, WhatCannotBeShownIsTriedOnceForEachContent) {
    const Uuid id = add("a.png", 1, "damaged");
    const auto tries = [&] {
        return std::count_if(world_.log.lines.begin(), world_.log.lines.end(),
                             [](const auto& line) {
                                 return line.find("The picture is damaged.") != std::string::npos;
                             });
    };
    EXPECT_EQ(widthOf(id), 0);
    EXPECT_EQ(tries(), 1);
    waitForNextCheck();
    EXPECT_EQ(widthOf(id), 0);
    ThumbnailCache later(platform_, world_.layout(), store_);
    EXPECT_EQ(widthOf(id, later), 0);
    EXPECT_EQ(tries(), 1);
    world_.folder.write("a.png", std::string(pngMark) + "xxxxyyyy");
    waitForNextCheck();
    EXPECT_EQ(widthOf(id), 5);
}

TEST_F(ThumbnailCacheTest, SecretAndRemovedMemoriesLeaveNoPictures) {
    const Uuid secret = add("a.png", 22);
    const Uuid removed = add("b.png", 22);
    EXPECT_EQ(widthOf(secret), 10);
    EXPECT_EQ(widthOf(removed), 10);
    CrumbItem marked = *store_.item(secret);
    markSecure(marked);
    EXPECT_FALSE(testing::change(store_, marked));
    world_.resultOf(store_.remover().deleteMemories({removed}));
    EXPECT_EQ(widthOf(secret), 0);
    EXPECT_EQ(widthOf(removed), 0);
    EXPECT_TRUE(cachedFiles().empty());
    // One that goes while its picture is being made.
    const Uuid late = add("c.png", 22);
    cache_.want({late});
    marked = *store_.item(late);
    markSecure(marked);
    EXPECT_FALSE(testing::change(store_, marked));
    world_.time.advance(0);
    EXPECT_FALSE(cache_.find(late));
    EXPECT_TRUE(cachedFiles().empty());
}

TEST_F(ThumbnailCacheTest, MemoryHoldsTheFirstOfWhatIsWantedAndTheDiskWhatWasUsedLast) {
    std::vector<Uuid> ids;
    for (int i = 0; i < 6; ++i) ids.push_back(add(std::to_string(i) + ".png", 22));
    constexpr std::size_t threePictures = 3 * (256 + 30) + 10;
    ThumbnailCache small(platform_, world_.layout(), store_, {.memoryByteCount = threePictures});
    const auto held = [&] {
        std::string pattern;
        for (const Uuid& id : ids) pattern += small.find(id) ? 'x' : '-';
        return pattern;
    };
    small.want(ids);
    world_.time.advance(0);
    EXPECT_EQ(held(), "xxx---") << "the first ones are seen now";
    small.want({ids[5], ids[4]});
    world_.time.advance(0);
    EXPECT_EQ(held(), "--x-xx") << "of the others, what came first went first";
    small.want({ids[0]});
    small.want({ids[1]});
    world_.time.advance(0);
    EXPECT_EQ(held(), "xx--x-");

    ASSERT_GE(cachedFiles().size(), 5U);
    const auto nameOf = [&](const Uuid& id) {
        const auto names = cachedFiles();
        const auto found = std::find_if(names.begin(), names.end(), [&](const std::string& name) {
            return name.starts_with(id.toString());
        });
        return found == names.end() ? "" : *found;
    };
    // Each file holds six bytes.
    const Path oldest = world_.layout().thumbnails() / nameOf(ids[2]);
    world_.files.setModified(oldest, 1'000'000'000);
    tidyThumbnails(world_.layout(), world_.files, 6 * cachedFiles().size());
    EXPECT_NE(nameOf(ids[2]), "");
    const std::size_t before = cachedFiles().size();
    tidyThumbnails(world_.layout(), world_.files, 6 * before - 1);
    EXPECT_EQ(nameOf(ids[2]), "");
    EXPECT_EQ(cachedFiles().size(), before - 1);
}

}  // namespace
}  // namespace nookery
