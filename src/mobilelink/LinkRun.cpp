#include "mobilelink/LinkRun.h"

#include <fmt/format.h>

#include "mobilelink/EditAnswers.h"
#include "mobilelink/LinkErrors.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/work/WorkQueue.h"

namespace nookery {
namespace {

/// Edits saved in one transaction and answered together. A kill between the two makes conflicts of
/// no more than these.
constexpr std::size_t editsPerTurn = 64;

/// The records are a convenience: what they cannot take ends nothing.
void recordEvent(const Platform& platform, const LibraryLayout& layout, std::string kind,
                 std::string text) try {
    LinkRecords::open(platform.files, layout.linkRecords())
        .note({platform.clock.now(), std::move(kind), std::move(text)});
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
                 std::shared_ptr<EditFolder> folder, LinkPurpose purpose, Callbacks callbacks)
    : platform_(platform),
      layout_(std::move(layout)),
      store_(store),
      folder_(std::move(folder)),
      purpose_(purpose),
      callbacks_(std::move(callbacks)) {}

/// Runs `work` on the link's queue, then `then` with its result on the main one. `work` outlives
/// this object, and so owns all that it uses.
template <typename Work, typename Then>
void LinkRun::onLinkQueue(Work work, Then then) {
    auto failed = guard_.guarded([this](const std::exception_ptr& failure) { finish(failure); });
    auto succeeded = guard_.guarded([this, then = std::move(then)](auto& result) mutable {
        try {
            then(result);
        } catch (...) {
            finish(std::current_exception());
        }
    });
    platform_.linkQueue.async([&main = platform_.mainQueue, work = std::move(work), failed,
                               succeeded]() mutable {
        try {
            auto result = std::make_shared<decltype(work())>(work());
            main.async([succeeded, result]() mutable { succeeded(*result); });
        } catch (...) {
            main.async([failed, failure = std::current_exception()]() mutable { failed(failure); });
        }
    });
}

void LinkRun::start() {
    onLinkQueue(
        [platform = platform_, folder = folder_] {
            Found found{.key = NookerySecurePairingTransport(platform).pairedKey()};
            if (found.key) found.pending = folder->pending(*found.key);
            return found;
        },
        [this](Found& found) { take(std::move(found)); });
}

void LinkRun::take(Found found) {
    found_ = std::move(found);
    outcome_.edits.isPaired = found_.key != nullptr;
    outcome_.edits.skippedCount = found_.pending.skippedCount;
    if (!found_.key && purpose_ == LinkPurpose::publish) throw PublishError();
    answerNext();
}

void LinkRun::answerNext() {
    const auto& edits = found_.pending.edits;
    if (doneCount_ == edits.size()) {
        return purpose_ == LinkPurpose::publish ? publish() : finish(nullptr);
    }
    if (stop_.stop_requested()) throw Cancelled();
    const std::size_t count = std::min(editsPerTurn, edits.size() - doneCount_);
    auto receipts = answerEdits(store_, std::span(edits).subspan(doneCount_, count));
    doneCount_ += count;
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
            for (const EditReceipt& receipt : written) outcome_.edits.count(receipt.answer);
            answerNext();
        });
}

void LinkRun::publish() {
    if (callbacks_.aboutToPublish) callbacks_.aboutToPublish();
    onLinkQueue(
        [platform = platform_, layout = layout_, key = found_.key, items = *store_.items(),
         stop = stop_.get_token()] {
            PublishReport report;
            {
                auto records = LinkRecords::open(platform.files, layout.linkRecords());
                report = NookeryMemoryPublisher(platform).publish(items, *key, records, stop);
            }
            recordEvent(platform, layout, "published", report.summary());
            return report;
        },
        [this](const PublishReport& report) {
            outcome_.publish = report;
            finish(nullptr);
        });
}

void LinkRun::finish(std::exception_ptr failure) {
    found_ = {};
    outcome_.failure = failure;
    if (const auto text = failureWorthTelling(failure)) {
        platform_.linkQueue.async([platform = platform_, layout = layout_, text = *text] {
            recordEvent(platform, layout, "failed", text);
        });
    }
    platform_.mainQueue.async(guard_.guarded(
        [finished = callbacks_.finished, outcome = outcome_] { finished(outcome); }));
}

}  // namespace nookery
