#pragma once

#include <string>
#include <unordered_set>

#include "mobilelink/LinkRecords.h"
#include "mobilelink/NookerySecurePairingTransport.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/CrumbItem.h"

namespace nookery {

struct PublishReport {
    std::size_t publishedCount = 0;  ///< memories in the index
    std::size_t attachmentsWritten = 0;
    std::size_t attachmentsUnchanged = 0;  ///< on the drive as last written, and left alone
    std::size_t attachmentsFailed = 0;
    std::string firstFailure{};  ///< of an attachment; empty when none failed

    std::string summary() const;  ///< one line for the person
};

/// Puts a sealed copy of the library where the paired phone can read it: one index of all memories
/// but the secure ones, and a sealed attachment for each file that is small enough. Stateless but
/// for the records of what was written.
class NookeryMemoryPublisher {
  public:
    explicit NookeryMemoryPublisher(const Platform& platform)
        : platform_(platform), transport_(platform) {}

    /// Writes the attachments, then the index, which replaces the last one whole, then removes
    /// attachments that it no longer names. Any thread but the main one. Throws PairingError,
    /// FileError, DatabaseError or Cancelled; the last index then stays in place.
    PublishReport publish(const CrumbItemList& items, const EncryptionKey& key,
                          LinkRecords& records, const OperationControl& control) const;

    /// Removes the attachments of memories that are not among `attached`. Never throws: a failure
    /// is logged, and the next run goes on.
    void cleanObsoleteAttachments(const Path& folder, const std::unordered_set<Uuid>& attached,
                                  LinkRecords& records) const;

  private:
    void writeIndex(const Path& folder, const CrumbItemList& items,
                    const std::unordered_set<Uuid>& attached, const EncryptionKey& key,
                    const OperationControl& control) const;

    Platform platform_;
    NookerySecurePairingTransport transport_;
};

}  // namespace nookery
