#include <functional>
#include <set>

#include "cli/commands/WatchPart.h"
#include "cli/views/MemoryView.h"
#include "fieldreports/NookeryFieldReportReceiver.h"
#include "mobilelink/PhoneLink.h"
#include "platform/DirectoryEvents.h"
#include "platform/work/WorkQueue.h"

namespace nookery::cli {
namespace {

/// The store watches the inboxes itself; here is told what it takes in.
class InboxPart final : public WatchPart {
  public:
    InboxPart(CrumbStore& store, TellEvent tell) : store_(store), tell_(std::move(tell)) {}

    void start() override {
        reports_ = store_.inboxes().report().subscribe([this](const auto& report) {
            if (report) tellReport(report->taken);
        });
    }
    Coroutine<> stop() override {
        reports_.reset();
        co_return;
    }

  private:
    void tellReport(const CaptureReport& taken) {
        for (const Uuid& id : taken.added) {
            if (const auto item = store_.item(id)) tell_("added", shownTitle(*item));
        }
        for (const CaptureDuplicate& duplicate : taken.duplicates) {
            tell_("already there", duplicate.source);
        }
        for (const auto* messages : {&taken.skipped, &taken.failed}) {
            for (const CaptureMessage& message : *messages) {
                tell_("not taken in", message.source + ": " + message.message);
            }
        }
    }

    CrumbStore& store_;
    TellEvent tell_;
    Subscription reports_;
};

/// Brings in what the phone uploads as field reports; told of each that is new.
class FieldReportPart final : public WatchPart {
  public:
    FieldReportPart(CommandContext& context, CrumbStore& store, TellEvent tell)
        : context_(context), store_(store), tell_(std::move(tell)) {}

    void start() override {
        receiver_ = std::make_unique<NookeryFieldReportReceiver>(
            context_.platform(), context_.layout(),
            [this](const auto& reports) { takeOver(reports); });
        store_.fieldReportEdits().setReceiver(receiver_.get());
        receiver_->start();
    }
    Coroutine<> stop() override {
        receiver_->stop();
        co_await context_.when<bool>(receiver_->isBusy(), std::logical_not<bool>());
        store_.fieldReportEdits().setReceiver(nullptr);
        receiver_.reset();
    }

  private:
    void takeOver(const NookeryFieldReportReceiver::Reports& reports) {
        for (const auto& report : reports) {
            const bool isNew = known_.insert(report.id).second;
            if (isNew && hasFirstList_) tell_("field report", report.shownTitle());
        }
        hasFirstList_ = true;
        store_.fieldReportEdits().setReports(reports);
    }

    CommandContext& context_;
    CrumbStore& store_;
    TellEvent tell_;
    bool hasFirstList_ = false;
    std::set<Uuid> known_;
    std::unique_ptr<NookeryFieldReportReceiver> receiver_;
};

/// The store's background work; told when it has come to its end.
class EnrichmentPart final : public WatchPart {
  public:
    EnrichmentPart(CrumbStore& store, TellEvent tell) : store_(store), tell_(std::move(tell)) {}

    void start() override {
        lastWaiting_ = *store_.indexingCount();
        waiting_ = store_.indexingCount().subscribe([this](int waiting) {
            if (waiting == 0 && lastWaiting_ > 0) tell_("enriched", "nothing waits any more");
            lastWaiting_ = waiting;
        });
    }
    Coroutine<> stop() override {
        waiting_.reset();
        co_return;
    }

  private:
    CrumbStore& store_;
    TellEvent tell_;
    int lastWaiting_ = 0;
    Subscription waiting_;
};

/// The store takes snapshots when they are due; told by the folders that they become.
class SnapshotPart final : public WatchPart {
  public:
    SnapshotPart(CommandContext& context, TellEvent tell)
        : context_(context), tell_(std::move(tell)) {}

    void start() override {
        const Platform& platform = context_.platform();
        createDirectories(platform.files, context_.layout().snapshots());
        folders_ = platform.directoryEvents.watch(
            context_.layout().snapshots(), platform.mainQueue,
            [this](const DirectoryReport& report) { tellNames(report.names); });
    }
    Coroutine<> stop() override {
        folders_.reset();
        co_return;
    }

  private:
    void tellNames(const std::vector<Path>& names) {
        for (const Path& name : names) {
            if (parseFolderTimestamp(name.native())) tell_("snapshot", name.native());
        }
    }

    CommandContext& context_;
    TellEvent tell_;
    std::unique_ptr<DirectoryWatch> folders_;
};

/// Publishes to the paired phone and takes in its edits; what fails is logged by the link itself.
class PhonePart final : public WatchPart {
  public:
    PhonePart(CommandContext& context, CrumbStore& store, TellEvent tell)
        : context_(context),
          tell_(std::move(tell)),
          link_(context.platform(), context.layout(), store) {}

    void start() override {
        runs_ = link_.lastRun().subscribe([this](const LinkOutcome& done) {
            if (done.edits.answeredCount() > 0) tell_("edits", done.edits.summary());
            if (done.publish.publishedCount > 0) tell_("published", done.publish.summary());
        });
        link_.start();
    }
    Coroutine<> stop() override {
        link_.stop();
        co_await context_.when<bool>(link_.isBusy(), std::logical_not<bool>());
    }

  private:
    CommandContext& context_;
    TellEvent tell_;
    PhoneLink link_;
    Subscription runs_;
};

}  // namespace

std::vector<std::unique_ptr<WatchPart>> makeWatchParts(CommandContext& context, CrumbStore& store,
                                                       const TellEvent& tell) {
    std::vector<std::unique_ptr<WatchPart>> parts;
    parts.push_back(std::make_unique<InboxPart>(store, tell));
    parts.push_back(std::make_unique<FieldReportPart>(context, store, tell));
    parts.push_back(std::make_unique<EnrichmentPart>(store, tell));
    parts.push_back(std::make_unique<SnapshotPart>(context, tell));
    parts.push_back(std::make_unique<PhonePart>(context, store, tell));
    return parts;
}

}  // namespace nookery::cli
