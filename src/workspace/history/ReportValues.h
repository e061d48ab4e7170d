#pragma once

#include <functional>
#include <map>
#include <vector>

#include "fieldreports/FieldReportRepository.h"
#include "fieldreports/NookeryReportWorkingDraft.h"
#include "platform/Platform.h"
#include "workspace/history/ValueStore.h"

namespace nookery {

/// The working copy's fields as changes name them.
Json draftFields(const NookeryReportWorkingDraft& draft);

/// Field reports: the fields of their working copies, and whether a report is there or in the
/// trash.
class ReportValues final : public ValueStore {
  public:
    /// `changed` is called after each change of the reports on disk.
    ReportValues(const Platform& platform, LibraryLayout layout, std::function<void()> changed)
        : platform_(platform),
          layout_(std::move(layout)),
          repository_(platform_, layout_),
          changed_(std::move(changed)) {}

    bool holds(ChangedThing thing) const override { return thing == ChangedThing::report; }
    std::optional<Json> current(const Change& change) const override;
    std::string nameOf(const Change& change) const override;
    bool isWhole(const Change& change) const override { return change.field.empty(); }
    Json remembered(const Change& change, const Json& recorded) const override;
    std::string obstacle(const Change& change, const Json& value) const override;
    void set(std::vector<Assignment> assignments, SaveReason reason, Saved saved) override;

  private:
    std::optional<NookeryReceivedFieldReport> find(const Change& change) const;
    void setAll(const std::vector<Assignment>& assignments);
    void setWhole(const Change& change, const Json& value);

    Platform platform_;
    LibraryLayout layout_;
    FieldReportRepository repository_;
    std::function<void()> changed_;
    /// Where reports are that have gone, until it is asked for.
    std::map<std::string, Json> gone_;
};

}  // namespace nookery
