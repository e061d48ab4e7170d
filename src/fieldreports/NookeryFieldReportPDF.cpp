#include "fieldreports/NookeryFieldReportPDF.h"

#include <algorithm>
#include <optional>

#include "fieldreports/FieldReportError.h"
#include "fieldreports/FieldReportPages.h"
#include "fieldreports/FieldReportStyles.h"
#include "foundation/DurableFile.h"
#include "foundation/Text.h"
#include "platform/ContentType.h"
#include "platform/ImageReader.h"
#include "platform/Log.h"

namespace nookery {
namespace {

namespace styles = report_styles;
using Media = NookeryReportWorkingDraft::Media;

/// Drawn as it stands above every attachment, whatever its place.
constexpr std::string_view attachmentHeading = R"(ATTACHMENT \(index + 1) OF \(attachments.count))";

/// Sharp in print; more pixels would only make the document heavy.
constexpr double pixelsPerInch = 200;
/// However long its caption, a picture keeps this much of its page.
constexpr double leastPictureHeight = 380;
constexpr double captionGap = 14;

class Report {
  public:
    Report(const Platform& platform, const FieldReportWorkingCopy& workingCopy,
           const NookeryReportWorkingDraft& draft, OperationControl control)
        : platform_(platform),
          workingCopy_(workingCopy),
          draft_(draft),
          control_(std::move(control)) {
        for (const Media& media : draft.media) {
            if (media.isIncluded) included_.push_back(&media);
        }
    }

    std::string title() const {
        return draft_.title.empty() ? "Untitled Field Report" : draft_.title;
    }

    void draw(PdfCanvas& canvas) {
        FieldReportPages pages(canvas);
        drawFirstPage(pages);
        for (std::size_t i = 0; i < included_.size(); ++i) {
            control_.throwIfStopped();
            drawAttachment(pages, *included_[i]);
            control_.report({"drawing attachments", i + 1, included_.size()});
        }
        outcome_.pageCount = pages.pageCount();
    }

    const FieldReportPdfOutcome& outcome() const { return outcome_; }

  private:
    void drawFirstPage(FieldReportPages& pages) {
        pages.flowText("NOOKERY  /  FIELD REPORT", styles::header);
        pages.skip(6);
        pages.drawRule();
        pages.skip(30);
        pages.flowText(title(), styles::title);
        pages.skip(22);
        pages.flowText("CLIENT / PROJECT", styles::label);
        pages.skip(3);
        pages.flowText(draft_.clientProject, styles::value);
        pages.skip(26);
        pages.flowText("OBSERVATIONS & NOTES", styles::label);
        pages.skip(6);
        const bool hasNotes = !trimmed(draft_.notes).empty();
        pages.flowText(hasNotes ? trimmed(draft_.notes) : "No observations entered.",
                       styles::notes);
    }

    void drawAttachment(FieldReportPages& pages, const Media& media) {
        pages.beginPage();
        pages.flowText(attachmentHeading, styles::header);
        pages.skip(6);
        pages.drawRule();
        pages.skip(16);
        const std::string_view caption = trimmed(media.caption);
        if (const auto picture = pictureOf(media)) {
            pages.placePicture(*picture, pictureHeight(pages, caption));
        } else {
            pages.drawPanel("DOCUMENT ATTACHMENT", media.displayName);
        }
        pages.skip(captionGap);
        pages.flowText(caption, styles::caption);
    }

    /// What the caption leaves of the page, within reason.
    static double pictureHeight(const FieldReportPages& pages, std::string_view caption) {
        const double room = FieldReportPages::contentBottom - pages.top();
        const double rest = room - captionGap - pages.heightOf(caption, styles::caption);
        return std::clamp(rest, leastPictureHeight, room);
    }

    /// None for what is no picture, or cannot be decoded.
    std::optional<Picture> pictureOf(const Media& media) {
        const Path file = workingCopy_.fileOf(media);
        const ContentType type = platform_.contentTypes.detect(
            readFileHead(platform_.files, file, ContentTypeDetector::headByteCount),
            file.filename());
        if (!platform_.images.canRead(type)) return std::nullopt;
        constexpr double longestPoints =
            std::max(FieldReportPages::contentWidth,
                     FieldReportPages::contentBottom - FieldReportPages::margin);
        try {
            return platform_.images.read(file, type,
                                         static_cast<int>(longestPoints / 72 * pixelsPerInch), {},
                                         control_.stopToken());
        } catch (const ImageError& error) {
            platform_.log.line("NOOKERY Field Report PDF error: " + error.description());
            outcome_.undecodable.push_back(media.displayName);
            return std::nullopt;
        }
    }

    const Platform& platform_;
    const FieldReportWorkingCopy& workingCopy_;
    const NookeryReportWorkingDraft& draft_;
    OperationControl control_;
    std::vector<const Media*> included_;
    FieldReportPdfOutcome outcome_;
};

/// A PDF must not come in place of what was received, or beside it.
void refuseReceivedPlaces(FileSystem& files, const FieldReportWorkingCopy& workingCopy,
                          const Path& destination) {
    const Path folder = destination.has_parent_path() ? destination.parent_path() : ".";
    const auto place = files.resolve(folder);
    const auto shelf = files.resolve(workingCopy.shelf());
    if (!place || !shelf) return;
    const auto [end, unused] =
        std::mismatch(shelf->begin(), shelf->end(), place->begin(), place->end());
    if (end == shelf->end()) {
        throw FieldReportError("The received reports lie there; choose another folder.");
    }
}

FieldReportPdfOutcome write(const Platform& platform, const FieldReportWorkingCopy& workingCopy,
                            const NookeryReportWorkingDraft& draft, const Path& destination,
                            const OperationControl& control) {
    return explaining("Could not export PDF: ", [&] {
        refuseReceivedPlaces(platform.files, workingCopy, destination);
        Report report(platform, workingCopy, draft, control);
        const PdfSetup setup{.pageWidth = FieldReportPages::pageWidth,
                             .pageHeight = FieldReportPages::pageHeight,
                             .title = report.title()};
        replaceDurably(platform.files, destination, [&](WritableFile& file) {
            platform.pdf.write(file, setup, [&](PdfCanvas& canvas) { report.draw(canvas); });
        });
        return report.outcome();
    });
}

}  // namespace

OperationPointer<FieldReportPdfOutcome> writeFieldReportPdf(
    const Platform& platform, const FieldReportWorkingCopy& workingCopy,
    const NookeryReportWorkingDraft& draft, const Path& destination) {
    return startOperation(platform.captureQueue, platform.mainQueue,
                          [platform, workingCopy, draft, destination](const auto& control) {
                              return write(platform, workingCopy, draft, destination, control);
                          });
}

}  // namespace nookery
