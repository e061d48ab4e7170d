#include "collection/store/Inboxes.h"

namespace nookery {

/// One run of taking in what waits.
struct Inboxes::TakingOnce {
    OperationPointer<InboxesTaken> operation;
    InboxesTaken taken{};
    Subscription reportsArrive{};
    std::optional<std::stop_callback<std::function<void()>>> relay{};
    int inboxesLeft = 2;
};

Inboxes::Inboxes(const Platform& platform, const LibraryLayout& layout, Sidecar& sidecar,
                 Library& library, CaptureService& capture)
    : platform_(platform),
      intake_(platform, layout, sidecar, library, capture),
      watcher_(
          std::make_shared<InboxWatcher>(platform, layout.inbox(), handlerFor(InboxKind::local))),
      cloudWatcher_(std::make_shared<CloudInboxWatcher>(platform, handlerFor(InboxKind::cloud))) {}

Inboxes::~Inboxes() {
    stop();
    for (const auto& known : takings_) {
        if (const auto taking = known.lock()) {
            taking->operation->finish(Outcome<InboxesTaken>::stopped());
        }
    }
}

InboxHandler Inboxes::handlerFor(InboxKind inbox) {
    using Reply = std::function<void(InboxOutcome)>;
    std::function<void(const std::vector<InboxUnit>&, const Reply&)> take =
        guard_.guarded([this, inbox](const std::vector<InboxUnit>& units, const Reply& reply) {
            intake_.take(inbox, units, reply);
        });
    return [&mainQueue = platform_.mainQueue, take](const std::vector<InboxUnit>& units,
                                                    const Reply& reply) {
        mainQueue.async([take, units, reply] { take(units, reply); });
    };
}

void Inboxes::start() {
    isWatching_ = true;
    watcher_->start();
    cloudWatcher_->start();
}

void Inboxes::stop() {
    intake_.requestStop();
    watcher_->stop();
    cloudWatcher_->stop();
}

OperationPointer<InboxesTaken> Inboxes::takeOnce() {
    const auto taking = std::make_shared<TakingOnce>();
    std::erase_if(takings_, [](const auto& known) { return known.expired(); });
    takings_.push_back(taking);
    taking->operation = Operation<InboxesTaken>::create(platform_.mainQueue);
    taking->reportsArrive = report().subscribe([taking = taking.get()](const auto& report) {
        if (report) taking->taken.reports.push_back(*report);
    });
    taking->relay.emplace(taking->operation->control().stopToken(), [this, taking = taking.get()] {
        if (!isWatching_) return intake_.requestStop();
        platform_.mainQueue.async([operation = taking->operation] {
            operation->finish(Outcome<InboxesTaken>::stopped());
        });
    });
    const auto end = guard_.guarded([taking](const std::vector<InboxWaiting>& waiting) {
        taking->taken.waiting.insert(taking->taken.waiting.end(), waiting.begin(), waiting.end());
        if (--taking->inboxesLeft > 0) return;
        taking->reportsArrive.reset();
        taking->relay.reset();
        taking->operation->finish(Outcome<InboxesTaken>::done(std::move(taking->taken)));
    });
    watcher_->takeOnce(end);
    cloudWatcher_->takeOnce(end);
    return taking->operation;
}

}  // namespace nookery
