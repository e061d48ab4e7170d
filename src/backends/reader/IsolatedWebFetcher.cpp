#include "backends/reader/Isolated.h"

namespace nookery {
namespace {

class IsolatedWebFetcher final : public WebFetcher {
  public:
    explicit IsolatedWebFetcher(ReaderPool& pool) : pool_(pool) {}

    FetchedPage fetch(const std::string& url, std::stop_token stop) override {
        constexpr std::size_t longestName = 10'000;
        FieldWriter fields;
        fields.text(url);
        const ReaderRequest request{.question = ReaderQuestion::webPage,
                                    .fields = fields.take(),
                                    .answer = {longestWebPage + 4 * longestName},
                                    .stop = std::move(stop)};
        return answered<Error>(pool_, ReaderSubject::web, request, url,
                               [](FieldReader& answer, const auto&) {
                                   FetchedPage page;
                                   page.body = answer.bytes(longestWebPage);
                                   page.mediaType = answer.text(longestName);
                                   page.encoding = answer.text(longestName);
                                   return page;
                               });
    }

  private:
    ReaderPool& pool_;
};

}  // namespace

std::unique_ptr<WebFetcher> makeIsolatedWebFetcher(ReaderPool& pool) {
    return std::make_unique<IsolatedWebFetcher>(pool);
}

}  // namespace nookery
