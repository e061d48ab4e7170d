#pragma once

#include <map>
#include <set>
#include <span>
#include <vector>

#include "mobilelink/NookerySecurePairingTransport.h"
#include "mobilelink/PhoneEdit.h"
#include "platform/ContentDigest.h"

namespace nookery {

struct PendingEdits {
    std::vector<PhoneEdit> edits;  ///< unanswered, each id once, in the order they were made
    std::size_t skippedCount = 0;  ///< files that are no request of the paired phone, or not whole
};

/// The folder in which the phone puts requests and this computer its receipts. Requests are never
/// changed or removed. Caches what each file held, so that frequent calls are cheap; reads a file
/// again when its size, its time or the key changes. One thread at a time.
class EditFolder {
  public:
    static constexpr std::size_t maximumRequestByteCount = 64u << 20;

    explicit EditFolder(const Platform& platform) : platform_(platform), transport_(platform) {}

    /// The unanswered requests. Creates a missing folder, and asks the sync client for requests
    /// whose content is not here yet. Throws PairingError or FileError.
    PendingEdits pending(const EncryptionKey& key);

    /// Writes the receipts, durable on return. Throws PairingError or FileError; then some receipts
    /// may have been written.
    void answer(std::span<const EditReceipt> receipts, const EncryptionKey& key);

  private:
    /// The content of a file when it was last read: a request with this id, or no request.
    struct Known {
        FileStatus status;
        std::optional<Uuid> requestID;
    };
    struct Names {
        std::vector<Path> requests;
        std::set<std::string> receipts;
    };

    Path folder() const;
    Names namesIn(const Path& folder) const;
    void addRequest(const Path& path, const std::set<std::string>& receipts,
                    const EncryptionKey& key, PendingEdits& pending);
    std::optional<PhoneEdit> read(const Path& path, const EncryptionKey& key) const;

    Platform platform_;
    NookerySecurePairingTransport transport_;
    std::optional<Sha256Digest> keyID_;
    std::map<Path, Known> known_;
};

}  // namespace nookery
