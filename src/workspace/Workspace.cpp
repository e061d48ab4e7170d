#include "workspace/Workspace.h"

#include "workspace/Relay.h"

namespace nookery {

Workspace::Workspace(const Platform& platform, LibraryLayout layout, ProblemLog& problems)
    : platform_(platform), layout_(std::move(layout)), problemLog_(problems) {}

Workspace::~Workspace() {
    // A receiver must not be asked by a store that outlives it.
    if (store_) store_->fieldReportEdits().setReceiver(nullptr);
}

/// Whatever holds values that steps change is known to the history before it recovers.
void Workspace::createParts(LibraryAccess access) {
    store_ = std::make_unique<CrumbStore>(platform_, layout_, access);
    history_ = std::make_unique<History>(platform_, layout_, *store_);
    edits_ = std::make_unique<Edits>(platform_, *store_, *history_);
    receipts_ = std::make_unique<Receipts>(platform_, layout_, *store_, *history_);
    reportValues_ = std::make_unique<ReportValues>(platform_, layout_, [this] { reloadReports(); });
    history_->add(*reportValues_);
    reportEdits_ = std::make_unique<ReportEdits>(platform_, layout_, *history_);
    if (access == LibraryAccess::writing) {
        problems_ = std::make_unique<Problems>(platform_, layout_, problemLog_, *store_);
    }
}

OperationPointer<Nothing> Workspace::open(LibraryAccess access, SessionLength length,
                                          LibraryExtent extent) {
    createParts(access);
    auto operation = Operation<Nothing>::create(platform_.mainQueue);
    relay<Nothing>(
        store_->open(length, extent), operation,
        guard_.guarded([this, access, length, operation](const Outcome<Nothing>& outcome) {
            const bool isWhole = outcome.isDone() && !store_->startFailure();
            if (outcome.isDone() && access == LibraryAccess::writing) problems();
            if (isWhole && length == SessionLength::lasting) becomeLasting();
            operation->finish(outcome);
        }));
    return operation;
}

void Workspace::becomeLasting() {
    history_->recover();
    receiver_ = std::make_unique<NookeryFieldReportReceiver>(
        platform_, layout_,
        [this](const auto& reports) { store_->fieldReportEdits().setReports(reports); });
    store_->fieldReportEdits().setReceiver(receiver_.get());
    receiver_->start();
    link().start();
}

/// In a short session nobody shows them.
void Workspace::reloadReports() {
    if (receiver_) receiver_->reload();
}

Problems& Workspace::problems() {
    if (!problems_) {
        problems_ = std::make_unique<Problems>(platform_, layout_, problemLog_, *store_);
    }
    if (!areProblemsLoaded_) problems_->load();
    areProblemsLoaded_ = true;
    return *problems_;
}

Facets& Workspace::facets() {
    if (!facets_) facets_ = std::make_unique<Facets>(platform_.mainQueue, *store_);
    return *facets_;
}

ThumbnailCache& Workspace::thumbnails() {
    if (!thumbnails_) {
        thumbnails_ = std::make_unique<ThumbnailCache>(platform_, layout_, *store_);
    }
    return *thumbnails_;
}

PhoneLink& Workspace::link() {
    if (!link_) link_ = std::make_unique<PhoneLink>(platform_, layout_, *store_);
    return *link_;
}

OperationPointer<Nothing> Workspace::close() {
    if (closing_) return closing_;
    closing_ = Operation<Nothing>::create(platform_.mainQueue);
    ending_ = ending();
    ending_->start([this] {
        const auto outcome = outcomeOf([this] { ending_->result(); });
        closing_->finish(outcome);
    });
    return closing_;
}

Coroutine<> Workspace::whenIdle(const Published<bool>& isBusy) {
    if (!*isBusy) co_return;
    Subscription following;
    Callback<Nothing> idle(platform_.mainQueue, [&](const std::function<void(Nothing)>& answer) {
        following = isBusy.subscribe([answer](bool busy) {
            if (!busy) answer({});
        });
    });
    co_await idle;
}

Coroutine<> Workspace::ending() {
    receipts_->close();
    if (link_) {
        link_->stop();
        co_await whenIdle(link_->isBusy());
    }
    if (receiver_) {
        receiver_->stop();
        co_await whenIdle(receiver_->isBusy());
        store_->fieldReportEdits().setReceiver(nullptr);
        receiver_.reset();
    }
    if (problems_) problems_->takeNews();
    const auto closing = store_->close();
    Callback<Nothing> closed(platform_.mainQueue, [&](const std::function<void(Nothing)>& answer) {
        closing->whenEnded([answer] { answer({}); });
    });
    co_await closed;
    closing->outcome()->get();
}

}  // namespace nookery
