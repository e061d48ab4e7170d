#include "backends/documents/DocumentFormats.h"
#include "backends/documents/PdfPages.h"
#include "backends/reader/ReaderLimits.h"
#include "platform/PageReader.h"
#include "reader/Service.h"

namespace nookery {
namespace {

class DocumentService final : public Service {
  public:
    void answer(const ServiceRequest& request, ServiceAnswer& answer) override {
        FieldReader& fields = request.fields;
        const Path path(std::string(fields.bytes(fields.restByteCount())));
        DocumentLimits limits;
        readLimits(fields, limits);
        switch (request.question) {
            case ReaderQuestion::documentText:
                return answerText(path, limits, fields, answer);
            case ReaderQuestion::pageCount:
                answer.fields.integer(pages_->pageCount(path, limits));
                return;
            case ReaderQuestion::pagesWithoutText:
                for (const int page : pages_->pagesWithoutText(path, limits, {})) {
                    answer.fields.integer(page);
                }
                return;
            case ReaderQuestion::pagePicture:
                return answerPicture(path, limits, fields, answer);
            default:
                throw MalformedMessage();
        }
    }

  private:
    void answerText(const Path& path, const DocumentLimits& limits, FieldReader& fields,
                    ServiceAnswer& answer) const {
        const ContentType type{fields.text(fields.restByteCount())};
        const DocumentText document = documents_->read(path, type, limits, {});
        answer.fields.text(document.title).text(document.text);
    }

    void answerPicture(const Path& path, const DocumentLimits& limits, FieldReader& fields,
                       ServiceAnswer& answer) const {
        const int page = static_cast<int>(fields.integer());
        const int longestSide = static_cast<int>(fields.integer());
        Picture picture = pages_->render(path, page, longestSide, limits, {});
        writeSize(answer.fields, picture);
        answer.pixels = std::move(picture.pixels);
    }

    std::unique_ptr<DocumentReader> documents_ = makeDocumentReader();
    std::unique_ptr<PageReader> pages_ = makePdfPages();
};

}  // namespace

std::unique_ptr<Service> makeDocumentService() { return std::make_unique<DocumentService>(); }

}  // namespace nookery
