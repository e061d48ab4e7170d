#include "receipts/ReceiptService.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/TestPlatform.h"

namespace nookery {
namespace {

namespace fs = std::filesystem;
using testing::Fault;
using testing::Place;
using testing::TestPlatform;

constexpr const char* png = "\x89PNG\r\n\x1a\n";

class ReceiptServiceTest : public ::testing::Test {
  protected:
    ReceiptServiceTest() {
        world.textRecognizer.lines = {{"Blue Door Bakery", {0.1, 0.9, 0.5, 0.02}},
                                      {"03/14/2026", {0.1, 0.8, 0.3, 0.02}},
                                      {"TOTAL $22.14", {0.1, 0.2, 0.4, 0.02}}};
        service.open();
    }

    std::string photo(const std::string& name, const std::string& content = "receipt") {
        return world.folder.write(name, png + content).native();
    }
    /// Lets the copies be made, but nothing be read yet unless `reads`.
    ReceiptImport import(const std::vector<std::string>& files) {
        std::vector<ReceiptSource> sources;
        for (const std::string& file : files) sources.push_back({file, file});
        return world.resultOf(service.import(std::move(sources)));
    }
    std::vector<std::string> preserved() const {
        return world.folder.filesBelow("data/Crumb/Coffer/Originals");
    }

    TestPlatform world{Place::memory};
    std::vector<OriginalFact> recorded;
    ReceiptService service{world.platform(), world.layout(), [this](const OriginalFact& fact) {
                               std::vector<OriginalFact> earlier;
                               std::copy_if(
                                   recorded.begin(), recorded.end(), std::back_inserter(earlier),
                                   [&](const auto& old) { return old.digest == fact.digest; });
                               recorded.push_back(fact);
                               return earlier;
                           }};
};

TEST_F(ReceiptServiceTest, TakesAFileInAndFillsWhatItsTextSays) {
    const std::string source = photo("in/Lunch.PNG");
    fs::create_symlink(source, world.folder / "link.png");
    const ReceiptImport outcome = import({(world.folder / "link.png").native()});
    ASSERT_EQ(outcome.added.size(), 1u);
    const CrumbReceipt receipt = *service.find(outcome.added[0]->id);
    EXPECT_EQ(receipt.merchant, "Blue Door Bakery");
    EXPECT_EQ(receipt.purchaseDate, (CalendarDay{2026, 3, 14}));
    EXPECT_EQ(receipt.totalCents, Cents{2214});
    EXPECT_TRUE(receipt.needsReview);
    EXPECT_EQ(receipt.type, ReceiptType::purchase);
    EXPECT_EQ(receipt.classification, Classification::unclassified);
    const Path copy = *receipt.originalFilePath;
    EXPECT_EQ(copy.parent_path(), world.layout().receiptOriginals());
    EXPECT_TRUE(Uuid::parse(copy.stem().native())) << copy;
    EXPECT_EQ(copy.extension(), ".png");
    ASSERT_EQ(recorded.size(), 1u);
    EXPECT_EQ(world.layout().library() / recorded[0].relativePath, copy);
    EXPECT_EQ(recorded[0].memoryID, receipt.id);
    EXPECT_EQ(world.folder.read("in/Lunch.PNG"), std::string(png) + "receipt");

    ReceiptService reader(world.platform(), world.layout(), {});
    ASSERT_TRUE(reader.openForReading());
    EXPECT_EQ(*reader.find(receipt.id), receipt);
}

TEST_F(ReceiptServiceTest, SaysWhenAnotherReceiptHasTheSameFile) {
    const ReceiptImport first = import({photo("a.png"), photo("b.png", "another")});
    EXPECT_TRUE(first.sameFileAs.empty());
    const ReceiptImport again = import({photo("copy of a.png")});
    ASSERT_EQ(again.added.size(), 1u);
    EXPECT_EQ(again.sameFileAs, (std::map<Uuid, Uuid>{{again.added[0]->id, first.added[0]->id}}));
    service.remove(first.added[1]->id);
    EXPECT_TRUE(import({photo("b.png", "another")}).sameFileAs.empty()) << "the other is gone";
}

TEST_F(ReceiptServiceTest, RecognitionLeavesAloneWhatThePersonGaveOrTookAwayMeanwhile) {
    std::vector<Uuid> ids;
    const auto watch = service.beingRead().subscribe([&](const std::set<Uuid>& reading) {
        for (const Uuid& id : reading) {
            if (std::find(ids.begin(), ids.end(), id) != ids.end()) continue;
            ids.push_back(id);
            if (ids.size() == 2) return service.remove(id);
            CrumbReceipt edited = *service.find(id);
            EXPECT_EQ(shownMerchant(edited, true), "Reading receipt…");
            edited.merchant = "  ";
            EXPECT_EQ(shownMerchant(edited, false), "Receipt awaiting details");
            edited.merchant = "  Corrected  ";
            edited.totalCents = Cents{1};
            edited.needsReview = false;
            service.save(edited);
        }
    });
    import({photo("a.png"), photo("b.png")});
    ASSERT_EQ(service.receipts()->size(), 1u);
    const CrumbReceipt& receipt = *service.receipts()->front();
    EXPECT_EQ(receipt.merchant, "Corrected");
    EXPECT_EQ(receipt.totalCents, Cents{1});
    EXPECT_EQ(receipt.purchaseDate, (CalendarDay{2026, 3, 14}));
    EXPECT_FALSE(receipt.needsReview);
    EXPECT_TRUE(service.beingRead()->empty());
    EXPECT_EQ(preserved().size(), 2u) << "the removed record's file is kept";
}

TEST_F(ReceiptServiceTest, KeepsWhatCannotBeReadAndSaysWhatCannotBeTakenIn) {
    const std::string gone = photo("gone.png");
    fs::remove(gone);
    world.folder.write("empty.png", "");
    fs::create_directories(world.folder / "folder");
    const ReceiptImport outcome =
        import({photo("bad.png", "damaged"), gone, (world.folder / "empty.png").native(),
                (world.folder / "folder").native(),
                world.folder.write("letter.doc", "no picture").native()});
    ASSERT_EQ(outcome.added.size(), 2u);
    for (const auto& added : outcome.added) {
        EXPECT_EQ(*service.find(added->id), *added);
        const std::string& message = service.recognitionMessages()->at(added->id);
        EXPECT_TRUE(message.starts_with("Receipt saved, but recognition could not begin: "))
            << message;
    }
    EXPECT_EQ(world.log.problems.size(), 2u);
    service.remove(outcome.added[0]->id);
    EXPECT_EQ(world.log.problems.size(), 1u);
    ASSERT_EQ(outcome.failed.size(), 3u);
    for (const auto& failure : outcome.failed) {
        EXPECT_TRUE(failure.message.starts_with("Unable to import receipt: ")) << failure.message;
    }
    EXPECT_EQ(preserved().size(), 2u);
}

TEST_F(ReceiptServiceTest, AnImportThatIsStoppedIsDoneWithWhatItTookIn) {
    std::vector<ReceiptSource> sources;
    for (const char* name : {"a.png", "b.png", "c.png"}) sources.push_back({photo(name), name});
    const auto stopped = service.import(sources);
    int digested = 0;
    world.digester.beforeDigesting = [&] {
        // Twice for each file: while it is copied, and when the copy is read back.
        if (++digested == 3) stopped->stop();
    };
    const ReceiptImport taken = world.resultOf(stopped);
    world.digester.beforeDigesting = {};
    EXPECT_EQ(taken.added.size(), 1u);
    EXPECT_TRUE(taken.failed.empty());
    EXPECT_EQ(preserved().size(), 1u);

    auto another = std::make_unique<ReceiptService>(world.platform(), world.layout(),
                                                    ReceiptService::RecordOriginal());
    const auto abandoned = another->import(sources);
    another.reset();
    EXPECT_THROW(world.resultOf(abandoned), Cancelled);
}

TEST_F(ReceiptServiceTest, AFaultAtAnyStepLeavesNoRecordWithoutItsFileAndNoFileWithoutItsRecord) {
    const std::string source = photo("a.png");
    for (const Fault fault : {Fault::fail, Fault::diskFull, Fault::crash}) {
        int k = 1;
        for (bool reached = true; reached; ++k) {
            fs::remove_all(world.layout().receipts());
            TestPlatform& w = world;
            try {
                ReceiptService victim(w.platform(), w.layout(), [](const OriginalFact&) {
                    return std::vector<OriginalFact>();
                });
                victim.open();
                w.files.arm(fault, k);
                victim.import({{source, source}});
                w.time.settle();
            } catch (const testing::SimulatedCrash&) {
            }
            reached = w.files.operationCount() >= k;
            w.files.losePower();
            w.files.disarm();
            ReceiptService next(w.platform(), w.layout(), {});
            next.open();
            for (const auto& receipt : *next.receipts()) {
                EXPECT_EQ(readWholeFile(*w.realFiles, *receipt->originalFilePath, 1000),
                          std::string(png) + "receipt");
            }
            // A crash between file and record leaves the file, which costs nobody anything.
            const std::size_t most = fault == Fault::crash ? 1 : next.receipts()->size();
            EXPECT_LE(preserved().size(), most) << static_cast<int>(fault) << " " << k;
        }
        EXPECT_GT(k, 6);
    }
}

TEST_F(ReceiptServiceTest, ListsAndFindsAsTheDatabaseDoes) {
    import({photo("a.png"), photo("b.png"), photo("c.png"), photo("d.png")});
    const ReceiptList all = *service.receipts();
    const auto edit = [&](std::size_t index, const std::function<void(CrumbReceipt&)>& change) {
        CrumbReceipt receipt = *all[index];
        change(receipt);
        service.save(receipt);
    };
    edit(0, [](auto& r) { r.purchaseDate.reset(); });
    edit(1, [](auto& r) {
        r.purchaseDate = CalendarDay{2027, 1, 1};
        r.merchant = "Café Zoë";
    });
    edit(2, [](auto& r) {
        r.type = ReceiptType::refund;
        r.note = "Übergabe";
    });
    edit(3, [](auto& r) {
        r.classification = Classification::business;
        r.totalCents.reset();
    });
    CrumbReceiptStore store(world.files, world.layout());
    ASSERT_TRUE(store.openForReading());
    std::vector<CrumbReceipt> listed;
    for (const auto& receipt : *service.receipts()) listed.push_back(*receipt);
    EXPECT_EQ(listed, store.load());

    const auto found = [&](const ReceiptFilter& filter) {
        return filtered(*service.receipts(), filter).size();
    };
    EXPECT_EQ(found({}), 4u);
    EXPECT_EQ(found({.query = "cafe zoe"}), 1u);
    EXPECT_EQ(found({.query = "ZOË 2027-01"}), 1u);
    EXPECT_EQ(found({.query = "ubergabe refund"}), 1u);
    EXPECT_EQ(found({.query = "22.14"}), 3u);
    EXPECT_EQ(found({.query = "bakery nowhere"}), 0u);
    EXPECT_EQ(found({.type = ReceiptType::refund}), 1u);
    EXPECT_EQ(found({.classification = Classification::business, .query = "blue"}), 1u);
}

TEST_F(ReceiptServiceTest, OffersEachCategoryOnce) {
    for (const char* name : {"meals", " Garden "}) service.addCategory(name);
    const auto offered = service.categories();
    ASSERT_EQ(offered.size(), builtInCategories.size() + 1);
    EXPECT_EQ(offered[4], "Meals");
    EXPECT_EQ(offered.back(), "Garden");
}

TEST_F(ReceiptServiceTest, TakesOnlyImagesAndPdfsFromMemories) {
    CrumbItem memory;
    memory.id = Uuid::random();
    const auto refusal = [&] {
        try {
            receiptSourceOf(memory, world.platform());
            return std::string("none");
        } catch (const Error& error) {
            return error.description();
        }
    };
    EXPECT_TRUE(refusal().starts_with("Unable to select receipt: "));
    memory.filePath = world.folder.write("note.txt", "text").native();
    EXPECT_TRUE(refusal().ends_with("note.txt is neither an image nor a PDF."));
    memory.filePath = photo("p.png");
    EXPECT_EQ(receiptSourceOf(memory, world.platform()).crumbID, memory.id);
}

}  // namespace
}  // namespace nookery
