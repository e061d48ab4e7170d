#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fieldreports/FieldReportManifest.h"
#include "fieldreports/NookeryReportWorkingDraft.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"
#include "records/NookeryReceivedFieldReport.h"

namespace nookery {

/// The path of an uploaded attachment. Some drives spell names in another Unicode normal form than
/// the phone, so that the name on disk may differ in its bytes. The folder must not be a link.
Path uploadedFile(const Platform& platform, const Path& folder, const std::string& storedName);

/// Where a deleted report lies.
struct TrashedReport {
    Path folder;
    std::optional<Path> workingCopy{};  ///< none when it had none
};

/// The received reports on disk, in a folder each, which has the report's id for a name and never
/// changes. Any thread.
class FieldReportRepository {
  public:
    FieldReportRepository(const Platform& platform, LibraryLayout layout);

    /// All reports, the newest report date first. A report that cannot be read is logged and left
    /// out; one whose working copy cannot be read comes as it was received. No folder of reports
    /// means no reports. Throws FileError.
    std::vector<NookeryReceivedFieldReport> load() const;

    bool holds(const Uuid& id) const;
    /// None when there is no such report. Throws FileError or FieldReportError when it cannot be
    /// read.
    std::optional<NookeryReceivedFieldReport> find(const Uuid& id) const;
    /// Whether the person deleted the report. Throws FileError or JsonError when the list of
    /// deleted reports cannot be read.
    bool isDeleted(const Uuid& id) const;

    /// Copies an uploaded report with this manifest beside the others, as a whole or not at all.
    /// The upload stays as it is. Throws FileError, or FieldReportError when a file changed
    /// meanwhile.
    void receive(const Path& upload, std::string_view manifestText,
                 const FieldReportManifest& manifest);

    /// Saves the report's working copy, durably. Throws Error; then it stays as it was.
    void save(const NookeryReceivedFieldReport& report, const NookeryReportWorkingDraft& draft);
    /// Gives the report another title in its working copy. Throws Error; then it keeps the old one.
    void rename(const NookeryReceivedFieldReport& report, const std::string& title);
    /// Moves the report and then its working copy to the trash, and says where they are; it is
    /// never taken in again. Throws Error; then the report is where it was, but for a disk that
    /// does not let it be put back either. Main thread.
    TrashedReport remove(const NookeryReceivedFieldReport& report);
    /// Where a deleted report lies: at the place that was noted, or else where the trash knows it,
    /// as after a kill. None when it is not in the trash. Throws FileError.
    std::optional<TrashedReport> inTrash(const Uuid& id,
                                         const std::optional<TrashedReport>& noted) const;
    /// Puts a deleted report back, with its working copy when that is still there. Throws Error;
    /// the report is there or in the trash then.
    void bringBack(const Uuid& id, const TrashedReport& trashed);

    /// Removes the unfinished copies of a killed process. Throws FileError.
    void removeLeftovers();

  private:
    NookeryReceivedFieldReport loadOne(const Uuid& id) const;
    void showEdits(NookeryReceivedFieldReport& report) const;
    void logLoadError(const Uuid& id, const Error& error) const;
    void copyInto(const Path& staging, const Path& upload, std::string_view manifestText,
                  const FieldReportManifest& manifest);
    void copyUnchanging(const Path& from, const Path& to);
    void checkPlace(const NookeryReceivedFieldReport& report) const;
    void putFolderBack(const Uuid& id, const Path& trashed);
    std::vector<Uuid> deletedIDs() const;
    void saveDeletedIDs(const std::vector<Uuid>& ids);

    Platform platform_;
    FileSystem& files_;
    LibraryLayout layout_;
};

}  // namespace nookery
