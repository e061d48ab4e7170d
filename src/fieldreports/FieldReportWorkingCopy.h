#pragma once

#include <optional>
#include <vector>

#include "fieldreports/NookeryReportWorkingDraft.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"
#include "records/NookeryReceivedFieldReport.h"

namespace nookery {

/// The editable copy of one received report: "draft.json" and the added files, in a folder of its
/// own. The report's folder never changes. Any thread, one at a time.
class FieldReportWorkingCopy {
  public:
    FieldReportWorkingCopy(FileSystem& files, const LibraryLayout& layout,
                           NookeryReceivedFieldReport report);

    /// The saved draft; none before the first save. Throws FileError, or FieldReportError when the
    /// draft is damaged.
    std::optional<NookeryReportWorkingDraft> saved() const;
    /// The saved draft, or else a new draft of the report. Throws as `saved` does.
    NookeryReportWorkingDraft draft() const;

    /// Durable on return. Throws FieldReportError; then the draft saved before stays.
    void save(const NookeryReportWorkingDraft& draft);

    /// Copies a file into the working copy. The caller appends the returned item to the draft and
    /// saves it. Throws FieldReportError.
    NookeryReportWorkingDraft::Media addFile(const Path& source);

    /// The path of an item's file. Throws FieldReportError for an item that the report does not
    /// have.
    Path fileOf(const NookeryReportWorkingDraft::Media& media) const;

    /// The folder of all received reports. Nothing else may be written into it.
    Path shelf() const { return folder_.parent_path().parent_path(); }

    /// The folder for the working copy, whether it exists or not.
    static Path folderOf(const LibraryLayout& layout, const Uuid& id);

  private:
    NookeryReportWorkingDraft::Media copyIn(const Path& source);

    FileSystem& files_;
    Path folder_;
    NookeryReceivedFieldReport report_;
};

/// Copies the files into the working copy, one after the other, and gives the items for them: see
/// `addFile`. Works on the capture queue. Main thread.
OperationPointer<std::vector<NookeryReportWorkingDraft::Media>> addFiles(
    const Platform& platform, FieldReportWorkingCopy workingCopy, const std::vector<Path>& sources);

}  // namespace nookery
