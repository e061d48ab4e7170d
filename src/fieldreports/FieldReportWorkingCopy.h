#pragma once

#include <optional>
#include <vector>

#include "fieldreports/NookeryReportWorkingDraft.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"
#include "records/NookeryReceivedFieldReport.h"

namespace nookery {

/// The editable copy of one received report: "draft.json" and the files that were added, in a
/// folder of its own beside the report's, which is never written to. Any thread, one at a time.
class FieldReportWorkingCopy {
  public:
    FieldReportWorkingCopy(FileSystem& files, const LibraryLayout& layout,
                           NookeryReceivedFieldReport report);

    /// What was saved; none before the first save. Throws FileError, or FieldReportError when it is
    /// damaged.
    std::optional<NookeryReportWorkingDraft> saved() const;
    /// What was saved, else a new draft of the report. Throws as `saved` does.
    NookeryReportWorkingDraft draft() const;

    /// Durable when it returns. Throws FieldReportError; then what was saved before stays.
    void save(const NookeryReportWorkingDraft& draft);

    /// Copies a file into the working copy and gives the item for it, which is the draft's once it
    /// was appended and saved. Throws FieldReportError.
    NookeryReportWorkingDraft::Media addFile(const Path& source);

    /// Where an item's content lies. Throws FieldReportError for one that the report does not have.
    Path fileOf(const NookeryReportWorkingDraft::Media& media) const;

    /// The folder of all received reports, in which nothing else may be written.
    Path shelf() const { return folder_.parent_path().parent_path(); }

    /// Where the working copy of this report lies, whether there is one or not.
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
