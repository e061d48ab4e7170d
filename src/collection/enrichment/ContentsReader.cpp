#include "collection/enrichment/ContentsReader.h"

#include "collection/enrichment/FactLines.h"
#include "collection/enrichment/Thumbnails.h"
#include "collection/text/FileText.h"
#include "foundation/Text.h"
#include "platform/ContentType.h"
#include "platform/ImageReader.h"
#include "platform/Log.h"
#include "platform/MediaReader.h"
#include "platform/PageReader.h"
#include "platform/TextRecognizer.h"
#include "retrieval/text/ContentPieces.h"

namespace nookery {
namespace {

/// A scan of more pages keeps the background busy for many minutes; its first pages say what it is.
constexpr std::size_t mostPagesRecognised = 300;

/// Pages that cannot be shown may have cost much; after so many, the others are left alone.
constexpr int mostFailedPages = 3;

class ContentsReading {
  public:
    ContentsReading(const CrumbItem& item, const Platform& platform, const LibraryLayout& layout,
                    const std::stop_token& stop)
        : item_(item),
          platform_(platform),
          layout_(layout),
          stop_(stop),
          path_(item.filePath.value_or("")),
          pieces_(parseContentPieces(item.searchableText)) {}

    ReadContents run() {
        attempt([this] {
            // Before anything is read: what is read may be newer, and is then read again, but what
            // is old never passes for new.
            status_ = platform_.files.status(path_).value_or(FileStatus{});
            type_ = detectType();
        });
        if (problem_) return {item_.searchableText, problem_};
        pieces_ = {.captured = std::move(pieces_.captured), .isEnriched = true};
        if (platform_.images.canRead(type_)) {
            readImage();
        } else if (platform_.media.canRead(type_)) {
            readMedia();
        } else {
            if (trimmed(pieces_.captured).empty() && !item_.text) attempt([this] { readText(); });
            if (type_.mediaType == "application/pdf" && !problem_) readPages();
        }
        return {toSearchableText(pieces_), problem_, std::move(pages_)};
    }

  private:
    /// Answers whether it went well. The first problem is kept; what was read before it, and what
    /// is read after, stays.
    template <typename Work>
    bool attempt(Work work) {
        try {
            work();
            return true;
        } catch (const Cancelled&) {
            throw;
        } catch (const std::exception& error) {
            keepProblem(describe(error));
        }
        return false;
    }

    void keepProblem(const std::string& problem) {
        if (!problem_) problem_ = problem;
    }

    ContentType detectType() const {
        return platform_.contentTypes.detect(
            readFileHead(platform_.files, path_, ContentTypeDetector::headByteCount),
            path_.filename());
    }

    void readImage() {
        attempt([this] {
            pieces_.facts = factLines(platform_.images.facts(path_, type_, ImageLimits{}));
        });
        attempt([this] {
            const Picture picture = platform_.images.read(
                path_, type_, TextRecognizer::usefulLongestSide, ImageLimits{}, stop_);
            keepThumbnail(picture);
            addRecognised(picture, 0);
        });
    }

    void readMedia() {
        attempt([this] {
            const MediaFacts facts = platform_.media.facts(path_, stop_);
            pieces_.facts = factLines(facts);
            pieces_.description = joinedLines(facts.descriptions);
        });
        if (problem_) return;
        attempt([this] { keepThumbnail(platform_.media.cover(path_, thumbnailSide, stop_)); });
    }

    void readText() {
        const ExtractedText extracted =
            extractText(path_, type_, platform_.files, platform_.documents, {}, stop_);
        pieces_.document = extracted.text;
        if (extracted.problem) throw Error(*extracted.problem);
    }

    void readPages() {
        const bool isOpen = attempt([this] {
            pieces_.facts = pageFactLine(platform_.pages.pageCount(path_, DocumentLimits{}));
        });
        if (!isOpen) return;
        attempt([this] {
            keepThumbnail(platform_.pages.render(path_, 0, thumbnailSide, DocumentLimits{}, stop_));
        });
        if (platform_.textRecognizer != nullptr) recognisePages();
    }

    void recognisePages() {
        std::vector<int> pages;
        attempt([&] { pages = platform_.pages.pagesWithoutText(path_, DocumentLimits{}, stop_); });
        if (pages.size() > mostPagesRecognised) pages.resize(mostPagesRecognised);
        int failedCount = 0;
        for (const int page : pages) {
            const bool isRead = attempt([&] {
                addRecognised(platform_.pages.render(path_, page, TextRecognizer::usefulLongestSide,
                                                     DocumentLimits{}, stop_),
                              page);
            });
            if (!isRead && ++failedCount == mostFailedPages) return;
        }
    }

    void addRecognised(const Picture& picture, int page) {
        if (platform_.textRecognizer == nullptr) return;
        RecognisedPage seen{page, {}};
        for (OCRLine& line : platform_.textRecognizer->recognise(picture, stop_)) {
            pieces_.recognised += line.text + '\n';
            if (!line.words.empty()) seen.lines.push_back(std::move(line.words));
        }
        if (!seen.lines.empty()) pages_.push_back(encode(seen));
    }

    /// The cache is a convenience: what goes wrong with it is no problem of the original.
    void keepThumbnail(const Picture& picture) {
        if (picture.isEmpty()) return;
        try {
            writeThumbnail(item_.id, status_, picture, platform_, layout_);
        } catch (const Error& error) {
            platform_.log.line("NOOKERY thumbnail error: " + error.description());
        }
    }

    const CrumbItem& item_;
    const Platform& platform_;
    const LibraryLayout& layout_;
    const std::stop_token& stop_;
    Path path_;
    FileStatus status_;
    ContentType type_;
    ContentPieces pieces_;
    std::optional<std::string> problem_;
    std::vector<EncodedPage> pages_;
};

}  // namespace

ReadContents readContents(const CrumbItem& item, const Platform& platform,
                          const LibraryLayout& layout, const std::stop_token& stop) {
    return ContentsReading(item, platform, layout, stop).run();
}

}  // namespace nookery
