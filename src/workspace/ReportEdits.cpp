#include "workspace/ReportEdits.h"

#include <fmt/format.h>

#include "fieldreports/FieldReportWorkingCopy.h"
#include "foundation/Text.h"
#include "workspace/StepMaking.h"
#include "workspace/history/ReportValues.h"

namespace nookery {
namespace {

Change changeOf(const Uuid& id, const std::string& field, Json before, Json after) {
    return {.thing = ChangedThing::report,
            .id = id.toString(),
            .field = field,
            .before = std::move(before),
            .after = std::move(after)};
}

std::string shown(const Json& value) {
    return value.is_string() ? value.get<std::string>() : toJsonText(value);
}

}  // namespace

NookeryReceivedFieldReport ReportEdits::demand(const Uuid& id) const {
    auto report = repository_.find(id);
    if (!report) throw Error("The field report is not there any more.");
    return std::move(*report);
}

Json ReportEdits::fieldsOf(const NookeryReceivedFieldReport& report) const {
    return draftFields(FieldReportWorkingCopy(platform_.files, layout_, report).draft());
}

OperationPointer<Nothing> ReportEdits::rename(const Uuid& id, const std::string& title) {
    const auto draft = [this, id, title = toValidUtf8(title)](StepDraft& drafted) {
        const auto report = demand(id);
        drafted.step.name = fmt::format("Rename field report \"{}\"", report.shownTitle());
        const Json before = fieldsOf(report).at("title");
        if (before != title) drafted.step.changes.push_back(changeOf(id, "title", before, title));
        return Nothing();
    };
    return makeStep<Nothing>(history_, platform_.mainQueue, guard_, draft);
}

OperationPointer<Nothing> ReportEdits::remove(const Uuid& id) {
    return makeStep<Nothing>(history_, platform_.mainQueue, guard_, [this, id](StepDraft& drafted) {
        drafted.step.name = fmt::format("Delete field report \"{}\"", demand(id).shownTitle());
        drafted.step.changes.push_back(changeOf(id, "", Json::object(), nullptr));
        return Nothing();
    });
}

OperationPointer<PatchOutcome> ReportEdits::saveDraft(const Uuid& id,
                                                      const NookeryReportWorkingDraft& base,
                                                      const NookeryReportWorkingDraft& edited) {
    const auto draft = [this, id, was = draftFields(base),
                        wanted = draftFields(edited)](StepDraft& drafted) {
        const auto report = demand(id);
        drafted.step.name = fmt::format("Edit field report \"{}\"", report.shownTitle());
        const Json now = fieldsOf(report);
        PatchOutcome outcome;
        for (const auto& [field, after] : wanted.items()) {
            const Json& before = now.at(field);
            if (after == was.at(field) || after == before) continue;
            if (before != was.at(field)) {
                outcome.conflicts.push_back({field, shown(before)});
                continue;
            }
            drafted.step.changes.push_back(changeOf(id, field, before, after));
        }
        return outcome;
    };
    return makeStep<PatchOutcome>(history_, platform_.mainQueue, guard_, draft);
}

}  // namespace nookery
