#include "backends/reader/Isolated.h"
#include "backends/reader/ReadableTypes.h"
#include "backends/reader/ReaderLimits.h"

namespace nookery {
namespace {

constexpr std::string_view pdfType = "application/pdf";

/// A damaged or hostile page tree can claim any number of pages.
constexpr std::int64_t mostPages = std::int64_t{1} << 31;

std::string pdfClause(const ReaderFault& fault) {
    switch (fault.cause()) {
        case ReaderFault::Cause::tookTooLong:
            return "was given up: reading it takes more than half a minute.";
        case ReaderFault::Cause::died:
            return "was given up: it takes too much memory or crashes the PDF library.";
        case ReaderFault::Cause::answeredNonsense:
            return "is damaged: the PDF library could not read it.";
        default:
            return fault.clause();
    }
}

FieldWriter aboutFile(const Path& path, const DocumentLimits& limits) {
    FieldWriter fields;
    fields.text(path.native());
    writeLimits(fields, limits);
    return fields;
}

class IsolatedDocuments final : public DocumentReader {
  public:
    explicit IsolatedDocuments(ReaderPool& pool) : pool_(pool) {}

    bool canRead(const ContentType& type) const override { return isReadableDocument(type); }

    DocumentText read(const Path& path, const ContentType& type, const DocumentLimits& limits,
                      std::stop_token stop) const override {
        constexpr std::size_t longestTitle = 4000;
        FieldWriter fields = aboutFile(path, limits);
        fields.text(type.mediaType);
        const std::size_t longestText = limits.maximumTextByteCount;
        const ReaderRequest request{.question = ReaderQuestion::documentText,
                                    .path = path,
                                    .fields = fields.take(),
                                    .answer = {longestText + (std::size_t{64} << 10)},
                                    .stop = std::move(stop)};
        const auto decode = [&](FieldReader& answer, const auto&) {
            DocumentText document;
            document.title = answer.text(longestTitle);
            document.text = answer.text(longestText);
            return document;
        };
        return answered<DocumentError>(pool_, ReaderSubject::documents, request, quotedName(path),
                                       decode,
                                       type.mediaType == pdfType ? &pdfClause : &usualClause);
    }

  private:
    ReaderPool& pool_;
};

class IsolatedPages final : public PageReader {
    template <typename Decode>
    auto asked(const Path& path, const ReaderRequest& request, const Decode& decode) const {
        return answered<DocumentError>(pool_, ReaderSubject::documents, request, quotedName(path),
                                       decode, &pdfClause);
    }

  public:
    explicit IsolatedPages(ReaderPool& pool) : pool_(pool) {}

    int pageCount(const Path& path, const DocumentLimits& limits) const override {
        const ReaderRequest request{.question = ReaderQuestion::pageCount,
                                    .path = path,
                                    .fields = aboutFile(path, limits).take()};
        return asked(path, request, [](FieldReader& answer, const auto&) {
            return static_cast<int>(answer.integer(1, mostPages - 1));
        });
    }

    std::vector<int> pagesWithoutText(const Path& path, const DocumentLimits& limits,
                                      std::stop_token stop) const override {
        const ReaderRequest request{.question = ReaderQuestion::pagesWithoutText,
                                    .path = path,
                                    .fields = aboutFile(path, limits).take(),
                                    .stop = std::move(stop)};
        return asked(path, request, [](FieldReader& answer, const auto&) {
            std::vector<int> pages;
            std::int64_t next = 0;  // the pages come in order
            while (!answer.isAtEnd()) {
                next = answer.integer(next, mostPages - 1);
                pages.push_back(static_cast<int>(next++));
            }
            return pages;
        });
    }

    Picture render(const Path& path, int page, int longestSide, const DocumentLimits& limits,
                   std::stop_token stop) const override {
        FieldWriter fields = aboutFile(path, limits);
        fields.integer(page).integer(longestSide);
        const ReaderRequest request{.question = ReaderQuestion::pagePicture,
                                    .path = path,
                                    .fields = fields.take(),
                                    .answer = {.pixelByteCount = mostPixelBytes(longestSide)},
                                    .stop = std::move(stop)};
        return asked(path, request, [longestSide](FieldReader& answer, auto& pixels) {
            Picture picture = takePicture(answer, pixels, longestSide);
            demandWellFormed(!picture.isEmpty());
            return picture;
        });
    }

  private:
    ReaderPool& pool_;
};

}  // namespace

std::unique_ptr<DocumentReader> makeIsolatedDocuments(ReaderPool& pool) {
    return std::make_unique<IsolatedDocuments>(pool);
}

std::unique_ptr<PageReader> makeIsolatedPages(ReaderPool& pool) {
    return std::make_unique<IsolatedPages>(pool);
}

}  // namespace nookery
