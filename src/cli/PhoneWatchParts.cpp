#include "cli/PhoneWatchParts.h"

#include <fmt/format.h>

#include "cli/TextLayout.h"
#include "mobilelink/PhoneLink.h"

namespace nookery::cli {
namespace {

class LinkPart final : public WatchPart {
  public:
    LinkPart(Session& session, CrumbStore& store, TellEvent tell)
        : session_(session), store_(store), tell_(std::move(tell)) {}

    void start() override {
        link_ = std::make_unique<PhoneLink>(session_.platform(), session_.layout(), store_);
        link_->start([this](const LinkOutcome& outcome) { tellOutcome(outcome); });
    }
    void stop() override { link_.reset(); }

  private:
    void tellOutcome(const LinkOutcome& outcome) const {
        const EditReport& edits = outcome.edits;
        if (edits.answeredCount() > 0) {
            tell_("phone edits",
                  fmt::format("{} applied, {} in conflict, {} missing", edits.appliedCount,
                              edits.conflictCount, edits.missingCount));
        }
        if (outcome.publish.publishedCount > 0) {
            tell_("published", counted(outcome.publish.publishedCount, "memory", "memories"));
        }
    }

    Session& session_;
    CrumbStore& store_;
    TellEvent tell_;
    std::unique_ptr<PhoneLink> link_;
};

}  // namespace

std::unique_ptr<WatchPart> makeLinkPart(Session& session, CrumbStore& store, TellEvent tell) {
    return std::make_unique<LinkPart>(session, store, std::move(tell));
}

}  // namespace nookery::cli
