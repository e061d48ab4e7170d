#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "cli/context/CommandContext.h"
#include "platform/DirectoryEvents.h"

namespace nookery::cli {

/// Tells something that has just happened, as one line: a word or two for what it was ("added"),
/// and the rest. Main thread.
using TellEvent = std::function<void(std::string_view event, const std::string& text)>;

/// Tells what happens in a lasting session, as long as it lives: what the inboxes take in, new
/// field reports, snapshots, what the phone was sent and has changed, and when nothing waits to be
/// read any more. What fails is logged by those that it fails. The context's library is open. Main
/// thread.
class WatchEvents {
  public:
    WatchEvents(CommandContext& context, TellEvent tell);

  private:
    void followInboxes();
    void followFieldReports();
    void followEnrichment();
    void followSnapshots();
    void followPhone();
    void tellTaken(const CaptureReport& taken);

    CommandContext& context_;
    CrumbStore& store_;
    TellEvent tell_;
    std::set<Uuid> knownReports_;
    int lastWaiting_ = 0;
    std::unique_ptr<DirectoryWatch> snapshotFolders_;
    std::vector<Subscription> followed_;
};

}  // namespace nookery::cli
