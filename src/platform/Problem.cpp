#include "platform/Problem.h"

#include <algorithm>
#include <array>
#include <utility>

namespace nookery {
namespace {

constexpr std::array<std::pair<ProblemKind, std::string_view>, 11> kinds{{
    {ProblemKind::save, "save"},
    {ProblemKind::settings, "settings"},
    {ProblemKind::original, "original"},
    {ProblemKind::inbox, "inbox"},
    {ProblemKind::phonePublish, "phone-publish"},
    {ProblemKind::phoneEdits, "phone-edits"},
    {ProblemKind::snapshot, "snapshot"},
    {ProblemKind::receipt, "receipt"},
    {ProblemKind::fieldReport, "field-report"},
    {ProblemKind::removal, "removal"},
    {ProblemKind::opening, "opening"},
}};

}  // namespace

std::string_view rawValue(ProblemKind kind) {
    return std::find_if(kinds.begin(), kinds.end(),
                        [kind](const auto& each) { return each.first == kind; })
        ->second;
}

std::optional<ProblemKind> problemKindFromRawValue(std::string_view raw) {
    for (const auto& [kind, value] : kinds) {
        if (value == raw) return kind;
    }
    return std::nullopt;
}

bool ProblemSurvey::clears(const ProblemSubject& subject) const {
    if (subject.kind != kind || subject.path.empty() || subject.memoryID) return false;
    return subject.path.parent_path() == folder &&
           std::find(remaining.begin(), remaining.end(), subject.path) == remaining.end();
}

}  // namespace nookery
