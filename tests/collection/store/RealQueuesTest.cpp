// A library on real threads: what the store's parts share with the work they hand out is for the
// thread sanitizer to see.

#include <gtest/gtest.h>

#include "collection/store/CrumbStore.h"
#include "platform/work/ThreadQueues.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

class RealQueuesTest : public ::testing::Test {
  protected:
    void open(SessionLength length) {
        store_ = std::make_unique<CrumbStore>(platform_, world_.layout(), LibraryAccess::writing);
        resultOf(store_->open(length));
    }
    template <typename Result>
    Result resultOf(const OperationPointer<Result>& operation) {
        main_->runUntil([&] { return operation->isFinished(); });
        return operation->outcome()->get();
    }
    Uuid capture(const std::string& name, std::string_view content) {
        const Path file = world_.folder.write(name, content);
        return resultOf(store_->capture({.sources = {CaptureFile{file}}})).added.at(0);
    }

    Platform makePlatform() {
        world_.embedder = &world_.fakeEmbedder;
        return world_.platformOn(
            {*main_, *snapshots_, *captureQueue_, *inbox_, *search_, *enrich_, *link_, *files_});
    }

    testing::TestPlatform world_;
    std::unique_ptr<LoopQueue> main_ = makeLoopQueue(world_.log);
    std::unique_ptr<WorkQueue> snapshots_ = makeThreadQueue("snapshots", world_.log);
    std::unique_ptr<WorkQueue> captureQueue_ = makeThreadQueue("capture", world_.log);
    std::unique_ptr<WorkQueue> inbox_ = makeThreadQueue("inbox", world_.log);
    std::unique_ptr<WorkQueue> search_ = makeThreadQueue("search", world_.log);
    std::unique_ptr<WorkQueue> enrich_ = makeBackgroundPool("enrich", 2, world_.log);
    std::unique_ptr<WorkQueue> link_ = makeThreadQueue("link", world_.log);
    std::unique_ptr<WorkQueue> files_ = makeThreadQueue("files", world_.log);
    Platform platform_ = makePlatform();
    std::unique_ptr<CrumbStore> store_;
};

TEST_F(RealQueuesTest, ALibraryIsFilledSearchedChangedAndClosedWhileWorkGoesOn) {
    open(SessionLength::lasting);
    std::vector<Uuid> ids;
    for (int i = 0; i < 30; ++i) {
        ids.push_back(capture(std::to_string(i) + ".txt", "our puppy sleeps " + std::to_string(i)));
        store_->search().setText("puppy sleeps");
    }
    const auto removal = store_->remover().deleteMemories({ids[0], ids[1]});
    const auto together = store_->remover().deleteMemories({ids[2]});
    std::optional<SaveFailure> tagged;
    store_->memoryEdits().setManualTags(ids[5], {"dog"},
                                        [&](const SaveFailure& failure) { tagged = failure; });
    EXPECT_EQ(resultOf(removal).count, 2u);
    EXPECT_EQ(resultOf(together).count, 1u);
    main_->runUntil([&] { return tagged.has_value(); });
    EXPECT_FALSE(*tagged);
    main_->runUntil([&] { return *store_->indexingCount() == 0; });
    store_->search().setText("dog");
    main_->runUntil([&] { return (*store_->searchResult())->isFinal; });
    EXPECT_GT(store_->filteredItems()->size(), 1u) << "by its tag, and by meaning";
    resultOf(store_->close());
    EXPECT_TRUE(store_->refusal()) << "it is closed";
    store_.reset();

    open(SessionLength::oneCommand);
    EXPECT_EQ(store_->items()->size(), 27u);
    EXPECT_EQ(store_->tagsOf(ids[5]), std::vector<std::string>{"dog"});
}

TEST_F(RealQueuesTest, AStoreThatGoesAwayInTheMiddleLeavesItsWorkToItself) {
    open(SessionLength::lasting);
    for (int i = 0; i < 5; ++i) {
        const Path file = world_.folder.write(std::to_string(i) + ".txt", std::to_string(i));
        store_->capture({.sources = {CaptureFile{file}}});
    }
    store_->search().setText("anything");
    store_.reset();
    open(SessionLength::oneCommand);
    EXPECT_FALSE(store_->startFailure());
}

}  // namespace
}  // namespace nookery
