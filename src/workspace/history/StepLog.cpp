#include "workspace/history/StepLog.h"

#include <algorithm>

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

void StepLog::load() {
    if (isLoaded_) return;
    reload();
    isLoaded_ = true;
    for (const std::int64_t number : records().leftContents()) forgetContents(number);
}

void StepLog::reload() { summaries_.set(records().summaries()); }

std::optional<StepSummary> StepLog::undoable() const {
    const auto& all = *summaries_;
    const auto found = std::find_if(all.rbegin(), all.rend(), [](const StepSummary& step) {
        return step.state == StepState::done;
    });
    return found == all.rend() ? std::nullopt : std::optional(*found);
}

std::optional<StepSummary> StepLog::redoable() const {
    const auto& all = *summaries_;
    const auto found = std::find_if(all.begin(), all.end(), [](const StepSummary& step) {
        return step.state == StepState::undone;
    });
    return found == all.end() ? std::nullopt : std::optional(*found);
}

std::optional<StepSummary> StepLog::find(std::int64_t number) const {
    const auto& all = *summaries_;
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const StepSummary& step) { return step.number == number; });
    return found == all.end() ? std::nullopt : std::optional(*found);
}

Step StepLog::read(std::int64_t number) {
    const auto bytes = records().changes(number);
    if (!bytes) throw Error("The step is not in the history any more.");
    return decodeStep(*bytes);
}

std::int64_t StepLog::begin(const Step& step) {
    const std::int64_t number = records().add({.state = StepState::begun,
                                               .name = step.name,
                                               .at = step.at,
                                               .changeCount = changeCountOf(step)},
                                              encode(step));
    reload();
    return number;
}

void StepLog::write(std::int64_t number, const Step& step, StepState state) {
    write(number, step, state, {});
}

void StepLog::write(std::int64_t number, const Step& step, StepState state,
                    const std::vector<std::int64_t>& superseded) {
    records().update({.number = number,
                      .state = state,
                      .name = step.name,
                      .at = step.at,
                      .changeCount = changeCountOf(step)},
                     encode(step), superseded);
    reload();
    for (const std::int64_t each : superseded) forgetContents(each);
}

void StepLog::setState(std::int64_t number, StepState state) {
    records().setState(number, state);
    reload();
}

void StepLog::keep(std::int64_t number, std::vector<StepRecords::Bytes> parts, Saved kept) {
    try {
        nextPart_ = std::max(nextPart_, records().lastPart(number) + 1);
        records().removeContents(number);
    } catch (const Error& error) {
        return kept(SaveFailure(error));
    }
    keepPart(number, std::make_shared<std::vector<StepRecords::Bytes>>(std::move(parts)), 0, kept);
}

void StepLog::keepPart(std::int64_t number,
                       const std::shared_ptr<std::vector<StepRecords::Bytes>>& parts,
                       std::size_t next, const Saved& kept) {
    try {
        if (next == parts->size()) {
            makeDurable();
            reload();
            return kept({});
        }
        records().addContents(number, nextPart_++, (*parts)[next]);
    } catch (const Error& error) {
        return kept(SaveFailure(error));
    }
    (*parts)[next] = {};
    platform_.mainQueue.async(guard_.guarded(
        [this, number, parts, next, kept] { keepPart(number, parts, next + 1, kept); }));
}

void StepLog::forgetContents(std::int64_t number) {
    forgetParts(number, records().lastPart(number));
}

void StepLog::forgetParts(std::int64_t number, int last) {
    try {
        if (!records().removeFirstPart(number, last)) return;
    } catch (const Error& error) {
        platform_.log.line("NOOKERY history save error: " + error.description());
        return;
    }
    platform_.mainQueue.async(guard_.guarded([this, number, last] { forgetParts(number, last); }));
}

void StepLog::finish(std::int64_t number, const Step& step) {
    std::vector<std::int64_t> superseded;
    for (const StepSummary& each : *summaries_) {
        if (each.state == StepState::undone) superseded.push_back(each.number);
    }
    write(number, step, StepState::done, superseded);
    remove(beyondBounds());
}

/// The oldest steps, as far as the bounds demand; never one that is under way, nor the newest.
std::vector<std::int64_t> StepLog::beyondBounds() const {
    const auto& all = *summaries_;
    const Timestamp now = platform_.clock.now();
    std::size_t count = all.size();
    std::int64_t bytes = 0;
    for (const StepSummary& each : all) bytes += each.byteCount;
    std::vector<std::int64_t> beyond;
    for (const StepSummary& each : all) {
        const bool isOld = secondsBetween(each.at, now) > longestAgeSeconds;
        if (!isOld && count <= mostSteps && bytes <= mostBytes) break;
        const bool mayGo = each.state == StepState::done || each.state == StepState::undone;
        if (!mayGo || each.number == all.back().number) break;
        beyond.push_back(each.number);
        --count;
        bytes -= each.byteCount;
    }
    return beyond;
}

void StepLog::remove(const std::vector<std::int64_t>& numbers) {
    if (numbers.empty()) return;
    records().remove(numbers);
    reload();
    for (const std::int64_t number : numbers) forgetContents(number);
}

void StepLog::drop(std::int64_t number) { remove({number}); }

void StepLog::clear() {
    records().removeAll();
    reload();
}

}  // namespace nookery
