#include "platform/Problem.h"

#include <algorithm>
#include <array>
#include <utility>

namespace nookery {
namespace {

constexpr std::array<std::pair<ProblemKind, std::string_view>, 9> kinds{{
    {ProblemKind::save, "save"},
    {ProblemKind::settings, "settings"},
    {ProblemKind::original, "original"},
    {ProblemKind::inbox, "inbox"},
    {ProblemKind::phonePublish, "phone-publish"},
    {ProblemKind::phoneEdits, "phone-edits"},
    {ProblemKind::snapshot, "snapshot"},
    {ProblemKind::receipt, "receipt"},
    {ProblemKind::fieldReport, "field-report"},
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

}  // namespace nookery
