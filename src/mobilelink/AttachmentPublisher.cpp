#include "mobilelink/AttachmentPublisher.h"

#include "platform/CloudContainer.h"

namespace nookery {
namespace {

constexpr std::string_view namePrefix = "memory-";
constexpr std::string_view nameSuffix = ".enc";

// One sync serves a whole batch; a kill loses no more than one.
constexpr std::size_t batchFileCount = 64;
constexpr std::int64_t batchMaximumByteCount = 64 << 20;

constexpr std::size_t chunkByteCount = 1 << 18;

void recordSealed(PublishedAttachment& attachment, const FileStatus& sealed) {
    attachment.sealedModifiedNanoseconds = sealed.modifiedNanoseconds;
    attachment.sealedChangedNanoseconds = sealed.changedNanoseconds;
}

bool isAsRecorded(const PublishedAttachment& attachment, const FileStatus& sealed) {
    return attachment.sealedModifiedNanoseconds == sealed.modifiedNanoseconds &&
           attachment.sealedChangedNanoseconds == sealed.changedNanoseconds;
}

}  // namespace

std::string attachmentNameOf(const Uuid& memoryID) {
    return std::string(namePrefix) + memoryID.toString() + std::string(nameSuffix);
}

std::optional<Uuid> memoryOfAttachment(std::string_view name) {
    if (!name.starts_with(namePrefix) || !name.ends_with(nameSuffix)) return std::nullopt;
    name.remove_prefix(namePrefix.size());
    if (name.size() < nameSuffix.size()) return std::nullopt;
    name.remove_suffix(nameSuffix.size());
    return Uuid::parse(name);
}

AttachmentPublisher::AttachmentPublisher(const Platform& platform, const EncryptionKey& key,
                                         Path folder, LinkRecords& records, std::stop_token stop)
    : platform_(platform),
      key_(key),
      keyID_(keyIDOf(key, platform.digester)),
      folder_(std::move(folder)),
      records_(records),
      known_(records.attachments()),
      stop_(std::move(stop)),
      buffer_(chunkByteCount) {
    batch_.emplace(platform_.files);
}

void AttachmentPublisher::publish(const CrumbItem& item) {
    if (stop_.stop_requested()) throw Cancelled();
    if (!item.filePath) return;
    try {
        const auto source = platform_.files.status(*item.filePath);
        if (!source || source->type != FileType::regular || source->byteCount > maximumByteCount) {
            return;
        }
        if (isCurrent(item, *source)) {
            ++report_.unchangedCount;
            report_.attached.insert(item.id);
        } else if (driveIsFull_) {
            ++report_.failedCount;
        } else {
            seal(item);
        }
    } catch (const FileError& error) {
        recordFailure(error, 1);
    }
}

AttachmentReport AttachmentPublisher::finish() {
    commit();
    return std::move(report_);
}

bool AttachmentPublisher::isCurrent(const CrumbItem& item, const FileStatus& source) {
    const auto found = known_.find(item.id);
    if (found == known_.end()) return false;
    const PublishedAttachment& last = found->second;
    if (last.keyID != keyID_ || last.sourceByteCount != source.byteCount) return false;
    const auto sealed = platform_.files.status(placeOf(item.id));
    if (!isFromSameContent(last, item, source) || !isOnDrive(last, sealed)) return false;
    // What had to be read this time is known by its marks the next.
    PublishedAttachment now = last;
    now.source = *item.filePath;
    now.sourceModifiedNanoseconds = source.modifiedNanoseconds;
    if (sealed) recordSealed(now, *sealed);
    if (now != last) records_.record(std::span(&now, 1));
    return true;
}

bool AttachmentPublisher::isFromSameContent(const PublishedAttachment& last, const CrumbItem& item,
                                            const FileStatus& source) const {
    if (last.source == *item.filePath &&
        last.sourceModifiedNanoseconds == source.modifiedNanoseconds) {
        return true;
    }
    return hasContentOfBox(platform_.files, platform_.encryption, key_, *item.filePath, last.mark);
}

bool AttachmentPublisher::isOnDrive(const PublishedAttachment& last,
                                    const std::optional<FileStatus>& sealed) const {
    const Path place = placeOf(last.memoryID);
    // The sync client may have taken the content away again to save room.
    if (!sealed) return platform_.cloud.presence(place) == CloudPresence::placeholder;
    if (sealed->type != FileType::regular ||
        sealed->byteCount != last.sourceByteCount + sealedBoxExtraByteCount) {
        return false;
    }
    return isAsRecorded(last, *sealed) ||
           isSealedBox(platform_.files, platform_.encryption, key_, place, last.mark);
}

void AttachmentPublisher::seal(const CrumbItem& item) {
    WritableFile& target = batch_->add(placeOf(item.id));
    try {
        written_.push_back(sealInto(target, item));
    } catch (const Cancelled&) {
        throw;
    } catch (const Error& error) {
        batch_->dropLast();
        recordFailure(error, 1);
        return;
    }
    batchByteCount_ += written_.back().sourceByteCount;
    if (written_.size() >= batchFileCount || batchByteCount_ >= batchMaximumByteCount) commit();
}

PublishedAttachment AttachmentPublisher::sealInto(WritableFile& target, const CrumbItem& item) {
    const auto source = platform_.files.openForReading(*item.filePath);
    const FileStatus status = source->status();
    SealedBoxWriter box(platform_.encryption, key_, target);
    std::int64_t byteCount = 0;
    while (const std::size_t count = source->read(buffer_)) {
        if (stop_.stop_requested()) throw Cancelled();
        byteCount += static_cast<std::int64_t>(count);
        if (byteCount > status.byteCount || byteCount > maximumByteCount) break;
        box.write(std::span(buffer_).first(count));
    }
    if (byteCount != status.byteCount || byteCount > maximumByteCount) {
        throw Error(displayName(*item.filePath) + " changed while it was being read.");
    }
    return {.memoryID = item.id,
            .keyID = keyID_,
            .source = *item.filePath,
            .sourceByteCount = byteCount,
            .sourceModifiedNanoseconds = status.modifiedNanoseconds,
            .mark = box.finish()};
}

void AttachmentPublisher::commit() {
    try {
        batch_->commit();
        for (PublishedAttachment& attachment : written_) {
            const auto sealed = platform_.files.status(placeOf(attachment.memoryID));
            if (sealed) recordSealed(attachment, *sealed);
            report_.attached.insert(attachment.memoryID);
        }
        report_.writtenCount += written_.size();
        records_.record(written_);
    } catch (const FileError& error) {
        recordFailure(error, written_.size());
        batch_.emplace(platform_.files);
    }
    written_.clear();
    batchByteCount_ = 0;
}

void AttachmentPublisher::recordFailure(const Error& error, std::size_t count) {
    report_.failedCount += count;
    if (report_.firstFailure.empty()) report_.firstFailure = error.description();
    const auto* fileError = dynamic_cast<const FileError*>(&error);
    if (fileError != nullptr && fileError->isDiskFull()) driveIsFull_ = true;
}

}  // namespace nookery
