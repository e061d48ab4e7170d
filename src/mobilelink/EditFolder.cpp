#include "mobilelink/EditFolder.h"

#include <algorithm>

#include "foundation/DurableBatch.h"
#include "foundation/Json.h"
#include "mobilelink/LinkErrors.h"
#include "mobilelink/LinkFolders.h"
#include "mobilelink/LinkRecords.h"
#include "platform/CloudContainer.h"

namespace nookery {
namespace {

constexpr std::string_view requestPrefix = "edit-";
constexpr std::string_view receiptPrefix = "edit-result-";
constexpr const char* nameExtension = ".enc";

/// Some sync clients give a file its size and time before its content. So an unreadable file is
/// read again each time, unless it is larger than this.
constexpr std::int64_t costlyByteCount = 1 << 20;

std::string receiptNameOf(const Uuid& requestID) {
    return std::string(receiptPrefix) + requestID.toString() + nameExtension;
}

/// The receipt's name if the request's file is named by its identifier, as it usually is.
std::string receiptNameBeside(const Path& request) {
    return std::string(receiptPrefix) + request.filename().native().substr(requestPrefix.size());
}

/// Sorts by the time of making, so that a second change of a memory follows the first.
void sortAndDropRepeated(std::vector<PhoneEdit>& edits) {
    std::sort(edits.begin(), edits.end(), [](const PhoneEdit& left, const PhoneEdit& right) {
        return std::tie(left.createdAt, left.id) < std::tie(right.createdAt, right.id);
    });
    std::set<Uuid> seen;
    std::erase_if(edits, [&](const PhoneEdit& edit) { return !seen.insert(edit.id).second; });
}

}  // namespace

Path EditFolder::folder() const { return transport_.sharedFolder(editsFolderName); }

EditFolder::Names EditFolder::namesIn(const Path& folder) const {
    Names names;
    for (const DirectoryEntry& entry : platform_.files.list(folder)) {
        const auto hidden = platform_.cloud.nameBehindPlaceholder(entry.name);
        const Path name = hidden.value_or(entry.name);
        if (!name.native().starts_with(requestPrefix) || name.extension() != nameExtension)
            continue;
        if (name.native().starts_with(receiptPrefix)) {
            names.receipts.insert(name);
        } else {
            names.requests.push_back(name);
        }
    }
    return names;
}

PendingEdits EditFolder::pending(const EncryptionKey& key) {
    const Path place = folder();
    createDirectories(platform_.files, place);
    const Sha256Digest keyID = keyIDOf(key, platform_.digester);
    if (keyID_ != keyID) known_.clear();
    keyID_ = keyID;
    PendingEdits pending;
    const Names names = namesIn(place);
    for (const Path& name : names.requests) addRequest(place / name, names.receipts, key, pending);
    sortAndDropRepeated(pending.edits);
    return pending;
}

void EditFolder::addRequest(const Path& path, const std::set<std::string>& receipts,
                            const EncryptionKey& key, PendingEdits& pending) try {
    const auto status = platform_.files.status(path);
    if (!status) {
        // An answered request is not fetched: sync clients remove the content of old files.
        if (receipts.contains(receiptNameBeside(path))) return;
        platform_.cloud.requestDownload(path);
        ++pending.skippedCount;
        return;
    }
    const auto known = known_.find(path);
    const bool isUnchanged =
        known != known_.end() && known->second.status.sameContentMarks(*status);
    if (isUnchanged && !known->second.requestID) {
        ++pending.skippedCount;
        return;
    }
    if (isUnchanged && receipts.contains(receiptNameOf(*known->second.requestID))) return;
    auto edit = read(path, key);
    if (edit || status->byteCount > costlyByteCount) {
        known_.insert_or_assign(path,
                                Known{*status, edit ? std::optional(edit->id) : std::nullopt});
    }
    if (!edit) {
        ++pending.skippedCount;
    } else if (!receipts.contains(receiptNameOf(edit->id))) {
        pending.edits.push_back(std::move(*edit));
    }
} catch (const Error&) {
    // Unreadable now, or its content is not here yet: the next call tries again.
    ++pending.skippedCount;
}

/// None for a file that is no request. Throws FileError when it cannot be read.
std::optional<PhoneEdit> EditFolder::read(const Path& path, const EncryptionKey& key) const try {
    const std::string box = readWholeFile(platform_.files, path, maximumRequestByteCount);
    return phoneEditFromJson(transport_.open(box, key));
} catch (const UnreadableSealedFile&) {
    return std::nullopt;
} catch (const JsonError&) {
    return std::nullopt;
}

void EditFolder::answer(std::span<const EditReceipt> receipts, const EncryptionKey& key) {
    const Path place = folder();
    DurableBatch batch(platform_.files);
    for (const EditReceipt& receipt : receipts) {
        const std::string box = transport_.seal(receiptJson(receipt), key);
        batch.add(place / receiptNameOf(receipt.requestID)).write(std::as_bytes(std::span(box)));
    }
    batch.commit();
}

}  // namespace nookery
