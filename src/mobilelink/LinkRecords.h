#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/SqliteConnection.h"
#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"
#include "mobilelink/SealedBox.h"
#include "platform/ContentDigest.h"

namespace nookery {

/// What was last written to the shared folder for one memory's file.
struct PublishedAttachment {
    Uuid memoryID;
    Sha256Digest keyID{};  ///< see `keyIDOf`
    Path source{};
    std::int64_t sourceByteCount = 0;
    std::int64_t sourceModifiedNanoseconds = 0;
    // Of the sealed file, as the file system last told them.
    std::int64_t sealedModifiedNanoseconds = 0;
    std::int64_t sealedChangedNanoseconds = 0;
    NonceAndTag mark{};

    bool operator==(const PublishedAttachment&) const = default;
};

/// Something that the link did or could not do.
struct LinkEvent {
    Timestamp time;
    std::string kind;  ///< "published", "edits" or "failed"
    std::string text;

    bool operator==(const LinkEvent&) const = default;
};

/// Tells keys apart without telling anything of them: a digest of the key behind a fixed text.
Sha256Digest keyIDOf(const EncryptionKey& key, const ContentDigester& digester);

/// What this computer remembers of its link, in a database of its own in the library folder. All
/// of it can be made again, at the price of writing every attachment once more. Throws
/// DatabaseError. One thread at a time.
class LinkRecords {
  public:
    static constexpr std::size_t eventsKept = 1000;

    /// Creates the file when it is missing, and anew when it is damaged or of an older format.
    static LinkRecords open(FileSystem& files, const Path& path);
    /// None when there is no such file.
    static std::optional<LinkRecords> openForReading(FileSystem& files, const Path& path);

    std::unordered_map<Uuid, PublishedAttachment> attachments();  ///< by memory
    /// Each replaces what was known of its memory; one transaction.
    void record(std::span<const PublishedAttachment> attachments);
    void forgetAttachment(const Uuid& memoryID);
    std::size_t attachmentCount();

    /// Drops the oldest beyond those kept. A failure that repeats the last event is not recorded
    /// again.
    void recordEvent(const LinkEvent& event);
    std::vector<LinkEvent> events(std::size_t limit);  ///< newest first
    std::optional<LinkEvent> lastEvent(std::string_view kind);

  private:
    static LinkRecords openForWriting(const Path& path);
    explicit LinkRecords(SqliteConnection connection) : connection_(std::move(connection)) {}

    SqliteConnection connection_;
};

}  // namespace nookery
