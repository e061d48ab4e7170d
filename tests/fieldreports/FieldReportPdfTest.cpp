#include <gtest/gtest.h>

#include <filesystem>

#include "fieldreports/FieldReportError.h"
#include "fieldreports/FieldReportRepository.h"
#include "fieldreports/NookeryFieldReportPDF.h"
#include "support/TestPlatform.h"
#include "support/UploadedReport.h"

namespace nookery {
namespace {

using testing::FakePdfWriter;
using Draft = NookeryReportWorkingDraft;

const std::string heading = "ATTACHMENT \\(index + 1) OF \\(attachments.count)";
const std::string footer = "Page \\(pageNumber)";
const std::string png = "\x89PNG";

class FieldReportPdfTest : public ::testing::Test {
  protected:
    FieldReportPdfTest() {
        testing::UploadedReport upload(Uuid::random());
        upload.attach("roof.png", png + "0123456789").attach("plan.pdf", "%PDF");
        upload.attach("wall.png", png + "01234").upload(world.folder);
        FieldReportRepository shelf(world.platform(), world.layout());
        shelf.receive(world.folder / upload.folder(), upload.manifest.dump(),
                      readFieldReportManifest(upload.manifest.dump(), upload.id));
        report = shelf.load().at(0);
    }

    FieldReportWorkingCopy workingCopy() { return {world.files, world.layout(), report}; }

    OperationPointer<FieldReportPdfOutcome> begin(const Draft& draft) {
        return writeFieldReportPdf(world.platform(), workingCopy(), draft, destination);
    }
    FieldReportPdfOutcome write(const Draft& draft) { return world.resultOf(begin(draft)); }

    std::vector<std::string> textsOf(std::size_t page) const {
        std::vector<std::string> texts;
        for (const auto& text : world.pdf.pages.at(page).texts) texts.push_back(text.text);
        return texts;
    }

    testing::TestPlatform world;
    NookeryReceivedFieldReport report;
    Path destination = world.folder / "report.pdf";
};

TEST_F(FieldReportPdfTest, PagesSayWhatTheyMustInOrder) {
    Draft draft = workingCopy().draft();
    draft.media[1].caption = "The plan";
    moveMedia(draft, draft.media[2].id, MoveDirection::up);
    draft.media[0].isIncluded = false;
    const auto outcome = write(draft);
    EXPECT_EQ(outcome.pageCount, 3u);
    EXPECT_TRUE(outcome.undecodable.empty());
    ASSERT_EQ(world.pdf.pages.size(), 3u);
    using Texts = std::vector<std::string>;
    EXPECT_EQ(textsOf(0),
              (Texts{footer, "NOOKERY / FIELD REPORT", "Roof survey", "CLIENT / PROJECT",
                     "Harbour Office", "OBSERVATIONS & NOTES", "Two tiles are loose."}));
    EXPECT_EQ(textsOf(1), (Texts{footer, heading}));
    EXPECT_EQ(world.pdf.pages[1].pictures.size(), 1u);
    EXPECT_EQ(textsOf(2),
              (Texts{footer, heading, "DOCUMENT ATTACHMENT", "Original plan.pdf", "The plan"}));
    EXPECT_TRUE(world.pdf.pages[2].pictures.empty());
}

TEST_F(FieldReportPdfTest, AnEmptyReportStillHasItsFirstPage) {
    Draft draft = workingCopy().draft();
    draft.title.clear();
    draft.notes = " \n\t ";
    for (auto& media : draft.media) media.isIncluded = false;
    EXPECT_EQ(write(draft).pageCount, 1u);
    const auto texts = textsOf(0);
    EXPECT_EQ(texts.at(2), "Untitled Field Report");
    EXPECT_EQ(texts.back(), "No observations entered.");
}

TEST_F(FieldReportPdfTest, LongTextsFlowOnAndNothingLeavesThePage) {
    Draft draft = workingCopy().draft();
    draft.notes.clear();
    for (int i = 0; i < 300; ++i) draft.notes += "Observation number " + std::to_string(i) + ".\n";
    for (int i = 0; i < 400; ++i) draft.media[0].caption += "caption" + std::to_string(i) + " ";
    draft.media[0].caption += "end";
    const auto outcome = write(draft);
    EXPECT_GT(outcome.pageCount, 6u);
    std::string all;
    std::vector<double> widths;
    for (const FakePdfWriter::Page& page : world.pdf.pages) {
        EXPECT_EQ(page.texts.at(0).text, footer);
        for (const PdfRectangle& picture : page.pictures) widths.push_back(picture.width);
        double bottom = 0;
        for (std::size_t i = 1; i < page.texts.size(); ++i) {
            const auto& place = page.texts[i].place;
            EXPECT_GE(place.top, bottom - 0.01) << page.texts[i].text << " lies over what is above";
            bottom = place.bottom();
            EXPECT_LE(bottom, page.texts[0].place.top) << page.texts[i].text;
            EXPECT_GE(place.left, 48);
            EXPECT_LE(place.right(), 612 - 48);
            all += page.texts[i].text + " ";
        }
    }
    EXPECT_NE(all.find("Observation number 299."), std::string::npos);
    EXPECT_NE(all.find("caption399 end"), std::string::npos);
    EXPECT_EQ(widths, (std::vector<double>{516, 516}));
}

TEST_F(FieldReportPdfTest, ADamagedPictureIsNamedAndAMissingOneStopsTheExport) {
    world.folder.write("damaged.png", png + "damaged");
    FieldReportWorkingCopy copy = workingCopy();
    Draft draft = copy.draft();
    draft.media = {copy.addFile(world.folder / "damaged.png"), draft.media[0]};
    const auto outcome = write(draft);
    EXPECT_EQ(outcome.undecodable, std::vector<std::string>{"damaged.png"});
    EXPECT_EQ(textsOf(1).at(3), "damaged.png");

    const std::string before = world.folder.read("report.pdf");
    std::filesystem::remove(report.attachments[0].url);
    try {
        write(draft);
        ADD_FAILURE() << "evidence left out in silence";
    } catch (const FieldReportError& error) {
        EXPECT_TRUE(error.description().starts_with("Could not export PDF: "));
    }
    EXPECT_EQ(world.folder.read("report.pdf"), before);
}

TEST_F(FieldReportPdfTest, InterruptedOrMisplacedItLeavesEverythingAsItWas) {
    const std::string shelf =
        testing::everythingBelow(*world.realFiles, world.layout().fieldReports());
    const auto interrupted = begin(workingCopy().draft());
    world.contentTypes.beforeDetecting = [&] { interrupted->stop(); };
    EXPECT_THROW(world.resultOf(interrupted), Cancelled);
    world.contentTypes.beforeDetecting = {};
    EXPECT_FALSE(world.realFiles->status(destination));
    destination = report.attachments[0].url;
    EXPECT_THROW(write(workingCopy().draft()), FieldReportError);
    EXPECT_EQ(testing::everythingBelow(*world.realFiles, world.layout().fieldReports()), shelf);
}

TEST_F(FieldReportPdfTest, EditsAreKeptWithoutTouchingWhatWasReceived) {
    const std::string received = testing::everythingBelow(*world.realFiles, report.folderURL);
    world.folder.write("draft.json", "not a draft");
    FieldReportWorkingCopy copy = workingCopy();
    Draft draft = copy.draft();
    EXPECT_EQ(copy.saved(), std::nullopt);
    draft.title = "New \"title\" Ж";
    draft.reportDate = {1'700'000'000.25};
    draft.media[1].isIncluded = false;
    draft.media.push_back(copy.addFile(world.folder / "draft.json"));
    draft.media.push_back(copy.addFile(world.folder / "draft.json"));
    copy.save(draft);
    EXPECT_EQ(workingCopy().draft(), draft);
    EXPECT_EQ(readWholeFile(world.files, copy.fileOf(draft.media[4]), 100), "not a draft");
    EXPECT_NE(copy.fileOf(draft.media[3]), copy.fileOf(draft.media[4]));
    EXPECT_EQ(testing::everythingBelow(*world.realFiles, report.folderURL), received);

    world.files.arm(testing::Fault::diskFull, 1);
    EXPECT_THROW(copy.save(draftOf(report)), FieldReportError);
    EXPECT_THROW(copy.addFile(world.folder / "draft.json"), FieldReportError);
    world.files.disarm();
    EXPECT_EQ(workingCopy().draft(), draft);

    const auto edits = FieldReportWorkingCopy::folderOf(world.layout(), report.id);
    for (const char* damage : {"{", "[]", "{\"title\":1}"}) {
        world.folder.write(edits / "draft.json", damage);
        EXPECT_THROW(copy.draft(), FieldReportError) << damage;
    }
}

}  // namespace
}  // namespace nookery
