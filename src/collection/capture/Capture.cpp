#include "collection/capture/Capture.h"

namespace nookery {

void append(CaptureReport& whole, const CaptureReport& part) {
    const auto add = [](auto& to, const auto& from) {
        to.insert(to.end(), from.begin(), from.end());
    };
    add(whole.added, part.added);
    add(whole.duplicates, part.duplicates);
    add(whole.failed, part.failed);
    add(whole.skipped, part.skipped);
    add(whole.versions, part.versions);
    add(whole.origins, part.origins);
    add(whole.warnings, part.warnings);
    whole.cancelled |= part.cancelled;
}

CaptureReport reportOf(const Outcome<CaptureReport>& outcome) {
    if (outcome.isDone()) return outcome.get();
    const Failure* failure = outcome.failure();
    CaptureReport report;
    report.cancelled = failure == nullptr;
    if (failure != nullptr)
        report.failed.push_back({"", withAdvice(failure->message, failure->advice)});
    return report;
}

}  // namespace nookery
