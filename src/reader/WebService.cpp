#include "backends/web/CurlWebFetcher.h"
#include "reader/Service.h"

namespace nookery {
namespace {

class WebService final : public Service {
  public:
    void answer(const ServiceRequest& request, ServiceAnswer& answer) override {
        demandWellFormed(request.question == ReaderQuestion::webPage);
        FieldReader& fields = request.fields;
        const FetchedPage page = web_->fetch(std::string(fields.bytes(fields.restByteCount())), {});
        answer.fields.text(page.body).text(page.mediaType).text(page.encoding);
    }

  private:
    std::unique_ptr<WebFetcher> web_ = makeCurlWebFetcher();
};

}  // namespace

std::unique_ptr<Service> makeWebService() { return std::make_unique<WebService>(); }

}  // namespace nookery
