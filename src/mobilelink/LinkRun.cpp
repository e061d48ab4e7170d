#include "mobilelink/LinkRun.h"

#include <fmt/format.h>

#include "mobilelink/EditAnswers.h"
#include "mobilelink/LinkErrors.h"
#include "platform/Clock.h"
#include "platform/Log.h"

namespace nookery {
namespace {

/// Edits saved in one transaction and answered together. A kill between the two makes conflicts of
/// no more than these.
constexpr std::size_t editsPerTurn = 64;

/// The records are a convenience: what they cannot take ends nothing.
void recordEvent(const Platform& platform, const LibraryLayout& layout, std::string kind,
                 std::string text) try {
    LinkRecords::open(platform.files, layout.linkRecords())
        .recordEvent({platform.clock.now(), std::move(kind), std::move(text)});
} catch (const Error& error) {
    platform.log.line("NOOKERY phone link record error: " + error.description());
}

}  // namespace

void EditReport::count(EditAnswer answer) {
    switch (answer) {
        case EditAnswer::applied:
            ++appliedCount;
            break;
        case EditAnswer::conflictChanged:
        case EditAnswer::conflictFormatted:
            ++conflictCount;
            break;
        case EditAnswer::missing:
            ++missingCount;
            break;
    }
}

std::string EditReport::summary() const {
    return fmt::format("{} applied, {} in conflict, {} missing, {} skipped", appliedCount,
                       conflictCount, missingCount, skippedCount);
}

LinkRun::LinkRun(const Platform& platform, LibraryLayout layout, CrumbStore& store,
                 std::shared_ptr<EditFolder> folder, LinkPurpose purpose,
                 OperationPointer<LinkOutcome> operation, Callbacks callbacks)
    : platform_(platform),
      layout_(std::move(layout)),
      store_(store),
      folder_(std::move(folder)),
      purpose_(purpose),
      operation_(std::move(operation)),
      callbacks_(std::move(callbacks)) {}

LinkRun::~LinkRun() {
    operation_->stop();
    operation_->finish(Outcome<LinkOutcome>::stopped());
}

/// Runs `work` on the link's queue, then `then` with its result on the main one. What either throws
/// ends the run. `work` outlives this object, and so owns all that it uses.
template <typename Work, typename Then>
void LinkRun::onLinkQueue(Work work, Then then) {
    Task::run(platform_.linkQueue, platform_.mainQueue, guard_, std::move(work),
              [this, then = std::move(then)](auto outcome) mutable {
                  try {
                      then(outcome.get());
                  } catch (...) {
                      end(Outcome<LinkOutcome>::of(std::current_exception()));
                  }
              });
}

void LinkRun::start() {
    onLinkQueue(
        [platform = platform_, folder = folder_, control = operation_->control()] {
            control.throwIfStopped();
            Found found{.key = NookerySecurePairingTransport(platform).pairedKey()};
            if (found.key) found.pending = folder->pending(*found.key);
            return found;
        },
        [this](Found& found) { take(std::move(found)); });
}

void LinkRun::take(Found found) {
    found_ = std::move(found);
    done_.edits.isPaired = found_.key != nullptr;
    done_.edits.skippedCount = found_.pending.skippedCount;
    if (!found_.key && purpose_ == LinkPurpose::publish) throw PublishError();
    answerNext();
}

void LinkRun::answerNext() {
    const auto& edits = found_.pending.edits;
    if (answeredCount_ == edits.size()) {
        return purpose_ == LinkPurpose::publish ? publish()
                                                : end(Outcome<LinkOutcome>::done(done_));
    }
    operation_->control().throwIfStopped();
    operation_->control().report({"answering edits", answeredCount_, edits.size()});
    const std::size_t count = std::min(editsPerTurn, edits.size() - answeredCount_);
    auto receipts = answerEdits(store_, std::span(edits).subspan(answeredCount_, count));
    answeredCount_ += count;
    onLinkQueue(
        [platform = platform_, layout = layout_, folder = folder_, key = found_.key,
         receipts = std::move(receipts)] {
            folder->answer(receipts, *key);
            EditReport report;
            for (const EditReceipt& receipt : receipts) report.count(receipt.answer);
            recordEvent(platform, layout, "edits", report.summary());
            return receipts;
        },
        [this](const std::vector<EditReceipt>& written) {
            for (const EditReceipt& receipt : written) done_.edits.count(receipt.answer);
            answerNext();
        });
}

void LinkRun::publish() {
    if (callbacks_.aboutToPublish) callbacks_.aboutToPublish();
    onLinkQueue(
        [platform = platform_, layout = layout_, key = found_.key, items = *store_.items(),
         control = operation_->control()] {
            PublishReport report;
            {
                auto records = LinkRecords::open(platform.files, layout.linkRecords());
                report = NookeryMemoryPublisher(platform).publish(items, *key, records, control);
            }
            recordEvent(platform, layout, "published", report.summary());
            return report;
        },
        [this](const PublishReport& report) {
            done_.publish = report;
            end(Outcome<LinkOutcome>::done(done_));
        });
}

/// A failure is recorded before it is told.
void LinkRun::end(const Outcome<LinkOutcome>& outcome) {
    found_ = {};
    const auto failure = failureWorthTelling(outcome.failure());
    Task::run(
        platform_.linkQueue, platform_.mainQueue, guard_,
        [platform = platform_, layout = layout_, failure] {
            if (failure) recordEvent(platform, layout, "failed", *failure);
        },
        // A copy of the callback, which may destroy this object.
        [ended = callbacks_.ended, outcome](const auto&) { ended(outcome); });
}

}  // namespace nookery
