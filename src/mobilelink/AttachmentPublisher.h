#pragma once

#include <stop_token>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "foundation/DurableBatch.h"
#include "mobilelink/LinkRecords.h"
#include "platform/Platform.h"
#include "records/CrumbItem.h"

namespace nookery {

/// "memory-" + identifier + ".enc"
std::string attachmentNameOf(const Uuid& memoryID);
/// The memory whose attachment has this name; none when it is no such name.
std::optional<Uuid> memoryOfAttachment(std::string_view name);

struct AttachmentReport {
    std::unordered_set<Uuid> attached;  ///< memories whose attachment is in the folder
    std::size_t writtenCount = 0;
    std::size_t unchangedCount = 0;
    std::size_t failedCount = 0;  ///< could not be read or written
    std::string firstFailure{};
};

/// Seals the memories' files and puts them into the shared folder. It does not write a file again
/// that is still there as this computer last wrote it under the same key: the drive's owner pays
/// for every byte. A failure concerns one memory and does not end the run. Throws DatabaseError of
/// the records, and Cancelled.
class AttachmentPublisher {
  public:
    static constexpr std::int64_t maximumByteCount = 20'000'000;

    AttachmentPublisher(const Platform& platform, const EncryptionKey& key, Path folder,
                        LinkRecords& records, std::stop_token stop);

    void publish(const CrumbItem& item);
    /// To be called once, after the last file.
    AttachmentReport finish();

  private:
    bool isCurrent(const CrumbItem& item, const FileStatus& source);
    bool isOnDrive(const PublishedAttachment& last, const std::optional<FileStatus>& sealed) const;
    bool isFromSameContent(const PublishedAttachment& last, const CrumbItem& item,
                           const FileStatus& source) const;
    void seal(const CrumbItem& item);
    PublishedAttachment sealInto(WritableFile& target, const CrumbItem& item);
    void commit();
    void recordFailure(const Error& error, std::size_t count);
    Path placeOf(const Uuid& memoryID) const { return folder_ / attachmentNameOf(memoryID); }

    Platform platform_;
    const EncryptionKey& key_;
    Sha256Digest keyID_;
    Path folder_;
    LinkRecords& records_;
    std::unordered_map<Uuid, PublishedAttachment> known_;  ///< as recorded before this run
    std::stop_token stop_;
    std::vector<std::byte> buffer_;
    std::optional<DurableBatch> batch_;
    std::vector<PublishedAttachment> written_;  ///< in this batch, not committed yet
    std::int64_t batchByteCount_ = 0;
    bool driveIsFull_ = false;
    AttachmentReport report_;
};

}  // namespace nookery
