#include "mobilelink/NookeryMemoryPublisher.h"

#include <fmt/format.h>

#include "foundation/DurableFile.h"
#include "mobilelink/AttachmentPublisher.h"
#include "mobilelink/LinkFolders.h"
#include "mobilelink/PhoneMemory.h"
#include "platform/Clock.h"
#include "platform/CloudContainer.h"
#include "platform/Log.h"
#include "records/SecureMemories.h"

namespace nookery {
namespace {

constexpr const char* indexName = "memories-index-v1.enc";

CrumbItemList publishable(const CrumbItemList& items) {
    const FindMemory find = finderIn(items);
    CrumbItemList kept;
    for (const auto& item : items) {
        if (!isLocalOnly(*item, find)) kept.push_back(item);
    }
    return kept;
}

/// Gathers text so that it is sealed and written in pieces of a good size.
class SealedText {
  public:
    explicit SealedText(SealedBoxWriter box) : box_(std::move(box)) {}

    void add(std::string_view text) {
        pending_ += text;
        if (pending_.size() >= pieceByteCount) flush();
    }
    void finish() {
        flush();
        box_.finish();
    }

  private:
    static constexpr std::size_t pieceByteCount = 1 << 20;

    void flush() {
        box_.write(std::as_bytes(std::span(pending_)));
        pending_.clear();
    }

    SealedBoxWriter box_;
    std::string pending_;
};

}  // namespace

std::string PublishReport::summary() const {
    std::string text = fmt::format("memories: {}; attachments: {} written, {} unchanged",
                                   publishedCount, attachmentsWritten, attachmentsUnchanged);
    if (attachmentsFailed > 0) {
        text += fmt::format(", {} left out: {}", attachmentsFailed, firstFailure);
    }
    return text;
}

PublishReport NookeryMemoryPublisher::publish(const CrumbItemList& items, const EncryptionKey& key,
                                              LinkRecords& records,
                                              const OperationControl& control) const {
    const Path folder = transport_.sharedFolder(memoriesFolderName);
    createDirectories(platform_.files, folder);
    const CrumbItemList kept = publishable(items);
    AttachmentPublisher attachments(platform_, key, folder, records, control.stopToken());
    std::size_t done = 0;
    for (const auto& item : kept) {
        attachments.publish(*item);
        control.report({"publishing", ++done, kept.size()});
    }
    const AttachmentReport report = attachments.finish();
    writeIndex(folder, kept, report.attached, key, control);
    cleanObsoleteAttachments(folder, report.attached, records);
    return {.publishedCount = kept.size(),
            .attachmentsWritten = report.writtenCount,
            .attachmentsUnchanged = report.unchangedCount,
            .attachmentsFailed = report.failedCount,
            .firstFailure = report.firstFailure};
}

void NookeryMemoryPublisher::writeIndex(const Path& folder, const CrumbItemList& items,
                                        const std::unordered_set<Uuid>& attached,
                                        const EncryptionKey& key,
                                        const OperationControl& control) const {
    replaceDurably(platform_.files, folder / indexName, [&](WritableFile& file) {
        SealedText index(SealedBoxWriter(platform_.encryption, key, file));
        std::string_view separator = "[";
        for (const auto& item : items) {
            control.throwIfStopped();
            index.add(separator);
            index.add(phoneMemoryJson(*item, attached.contains(item->id)));
            separator = ",";
        }
        index.add(items.empty() ? "[]" : "]");
        index.finish();
    });
}

void NookeryMemoryPublisher::cleanObsoleteAttachments(const Path& folder,
                                                      const std::unordered_set<Uuid>& attached,
                                                      LinkRecords& records) const try {
    for (const DirectoryEntry& entry : platform_.files.list(folder)) {
        const Path name = platform_.cloud.nameBehindPlaceholder(entry.name).value_or(entry.name);
        const auto memory = memoryOfAttachment(name.native());
        // An id in lower case is no name of ours, and nothing that the index refers to.
        const bool isWanted =
            memory && attached.contains(*memory) && name == attachmentNameOf(*memory);
        if (!memory || isWanted || entry.type != FileType::regular) continue;
        platform_.files.removeFile(folder / entry.name);
        if (!attached.contains(*memory)) records.forgetAttachment(*memory);
    }
    removeInterruptedWrites(platform_.files, folder, platform_.clock.now());
} catch (const Error& error) {
    platform_.log.line("NOOKERY Memories: deferred obsolete attachment cleanup (" +
                       error.description() + ")");
}

}  // namespace nookery
