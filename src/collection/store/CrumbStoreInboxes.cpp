// The inboxes: watchers that find, the intake that takes, and what the store publishes of it.

#include "collection/store/CrumbStore.h"
#include "collection/store/CrumbStoreParts.h"

namespace nookery {
namespace {

/// One run of taking in what waits, for a command.
struct TakingOnce {
    CrumbStore::InboxesFinished finished{};
    std::vector<InboxReport> reports{};
    std::vector<InboxWaiting> waiting{};
    Subscription reportsArrive{};
    std::optional<std::stop_callback<std::function<void()>>> relay{};
    int inboxesLeft = 2;
};

}  // namespace

void CrumbStore::Parts::createInboxes() {
    inboxIntake = std::make_unique<InboxIntake>(
        platform, layout, *sidecar,
        InboxIntake::Owner{
            .library = {.capture =
                            [this](CaptureRequest request, std::stop_token stop,
                                   CaptureService::Progress progress,
                                   CaptureService::Finished finished) {
                                if (const auto refused = refusal()) {
                                    return finished({.failed = {{"", *refused}}});
                                }
                                capture->capture(std::move(request), std::move(stop),
                                                 std::move(progress), std::move(finished));
                            },
                        .commit = [this](const auto& prepared) { return commitCaptured(prepared); },
                        .find = [this](const Uuid& id) { return memories.find(id); },
                        .all = [this]() -> const CrumbItemList& { return *memories.all(); },
                        .announce =
                            [this](const IntakeNotice& notice) { intakeNotice.set(notice); }},
            .importCountChanged =
                [this](InboxKind inbox, int count) {
                    (inbox == InboxKind::local ? inboxImportCount : cloudImportCount).set(count);
                },
            .report = [this](const InboxReport& report) { inboxReport.set(report); }});
    inboxWatcher =
        std::make_shared<InboxWatcher>(platform, layout.inbox(), inboxHandler(InboxKind::local));
    cloudInboxWatcher =
        std::make_shared<CloudInboxWatcher>(platform, inboxHandler(InboxKind::cloud));
}

InboxHandler CrumbStore::Parts::inboxHandler(InboxKind inbox) {
    using Reply = std::function<void(InboxOutcome)>;
    std::function<void(const std::vector<InboxUnit>&, const Reply&)> take =
        guard.guarded([this, inbox](const std::vector<InboxUnit>& units, const Reply& reply) {
            inboxIntake->take(inbox, units, reply);
        });
    return [&mainQueue = platform.mainQueue, take](const std::vector<InboxUnit>& units,
                                                   const Reply& reply) {
        mainQueue.async([take, units, reply] { take(units, reply); });
    };
}

/// A library that is not whole takes nothing in: what it holds could not be recognised.
void CrumbStore::Parts::startInboxes() {
    if (!inboxIntake || startFailure) return;
    inboxWatcher->start();
    cloudInboxWatcher->start();
}

void CrumbStore::Parts::stopInboxes() {
    if (inboxIntake) inboxIntake->requestStop();
    if (inboxWatcher) inboxWatcher->stop();
    if (cloudInboxWatcher) cloudInboxWatcher->stop();
}

void CrumbStore::takeFromInboxes(std::stop_token stop, InboxesFinished finished) {
    const auto taking = std::make_shared<TakingOnce>();
    taking->finished = std::move(finished);
    if (!parts_->inboxIntake || parts_->startFailure) return taking->finished({}, {});
    taking->reportsArrive =
        parts_->inboxReport.subscribe([taking = taking.get()](const auto& report) {
            if (report) taking->reports.push_back(*report);
        });
    taking->relay.emplace(std::move(stop), [this] { parts_->inboxIntake->requestStop(); });
    const auto note = [taking](const std::vector<InboxWaiting>& waiting) {
        taking->waiting.insert(taking->waiting.end(), waiting.begin(), waiting.end());
        if (--taking->inboxesLeft > 0) return;
        taking->reportsArrive.reset();
        taking->relay.reset();
        taking->finished(taking->reports, taking->waiting);
    };
    parts_->inboxWatcher->takeOnce(note);
    parts_->cloudInboxWatcher->takeOnce(note);
}

}  // namespace nookery
