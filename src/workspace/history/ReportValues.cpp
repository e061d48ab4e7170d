#include "workspace/history/ReportValues.h"

#include <fmt/format.h>

#include "fieldreports/FieldReportWorkingCopy.h"
#include "workspace/history/CompactJson.h"

namespace nookery {
namespace {

Json placeJson(const TrashedReport& trashed) {
    return {{"folder", toBinary(trashed.folder)},
            {"workingCopy", trashed.workingCopy ? toBinary(*trashed.workingCopy) : Json()}};
}

/// None when it was never written down where the report went: the program was ended before.
std::optional<TrashedReport> placeFrom(const Json& value) {
    if (!value.is_object() || !value.contains("folder")) return std::nullopt;
    TrashedReport trashed{.folder = pathOf(value.at("folder"))};
    const Json& workingCopy = value.at("workingCopy");
    if (!workingCopy.is_null()) trashed.workingCopy = pathOf(workingCopy);
    return trashed;
}

}  // namespace

Json draftFields(const NookeryReportWorkingDraft& draft) { return parseJson(toJsonText(draft)); }

std::optional<NookeryReceivedFieldReport> ReportValues::find(const Change& change) const {
    const auto id = Uuid::parse(change.id);
    return id ? repository_.find(*id) : std::nullopt;
}

std::optional<Json> ReportValues::current(const Change& change) const {
    const auto report = find(change);
    if (isWhole(change)) return report ? Json::object() : Json();
    if (!report) return std::nullopt;
    const Json fields =
        draftFields(FieldReportWorkingCopy(platform_.files, layout_, *report).draft());
    return fields.contains(change.field) ? std::optional(fields.at(change.field)) : std::nullopt;
}

std::string ReportValues::nameOf(const Change& change) const {
    const auto report = find(change);
    const std::string whose =
        fmt::format("the field report \"{}\"", report ? report->shownTitle() : "");
    return isWhole(change) ? whose : fmt::format("the {} of {}", change.field, whose);
}

Json ReportValues::remembered(const Change& change, const Json& recorded) const {
    const auto gone = gone_.find(change.id);
    return gone == gone_.end() ? recorded : gone->second;
}

std::string ReportValues::obstacle(const Change& change, const Json& value) const {
    if (!isWhole(change) || value.is_null()) return {};
    const auto id = Uuid::parse(change.id);
    if (id && repository_.inTrash(*id, placeFrom(value))) return {};
    return "The field report is not in the trash any more, and cannot come back.";
}

void ReportValues::set(std::vector<Assignment> assignments, SaveReason, Saved saved) {
    SaveFailure failure;
    try {
        setAll(assignments);
    } catch (const Error& error) {
        failure = SaveFailure(error);
    }
    changed_();
    saved(failure);
}

/// The fields of one report are saved together.
void ReportValues::setAll(const std::vector<Assignment>& assignments) {
    std::map<std::string, Json> drafts;
    for (const auto& [change, value] : assignments) {
        if (isWhole(change)) {
            setWhole(change, value);
            continue;
        }
        const auto report = find(change);
        if (!report) continue;
        if (!drafts.contains(change.id)) {
            drafts[change.id] =
                draftFields(FieldReportWorkingCopy(platform_.files, layout_, *report).draft());
        }
        drafts[change.id][change.field] = value;
    }
    for (const auto& [id, fields] : drafts) {
        const auto report = repository_.find(*Uuid::parse(id));
        if (!report) continue;
        repository_.save(*report, draftFromJson(nookery::toJsonText(fields)));
    }
}

void ReportValues::setWhole(const Change& change, const Json& value) {
    const auto id = Uuid::parse(change.id);
    if (!id) return;
    if (value.is_null()) {
        if (const auto report = repository_.find(*id)) {
            gone_[change.id] = placeJson(repository_.remove(*report));
        }
        return;
    }
    const auto place = repository_.inTrash(*id, placeFrom(value));
    if (!place) throw Error("The field report is not in the trash any more.");
    repository_.bringBack(*id, *place);
    gone_.erase(change.id);
}

}  // namespace nookery
