#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/FileSystem.h"
#include "platform/AuthenticatedEncryption.h"

namespace nookery {

/// A sealed box is a nonce of 12 bytes, the ciphertext, and a tag of 16 bytes.
inline constexpr std::int64_t sealedBoxExtraByteCount =
    std::tuple_size_v<EncryptionNonce> + std::tuple_size_v<AuthenticationTag>;

/// What tells a sealed box from every other that the same key has made.
struct NonceAndTag {
    EncryptionNonce nonce{};
    AuthenticationTag tag{};

    bool operator==(const NonceAndTag&) const = default;
};

/// Writes a sealed box into a new file, piece by piece: its memory does not grow with the content.
class SealedBoxWriter {
  public:
    SealedBoxWriter(const AuthenticatedEncryption& encryption, const EncryptionKey& key,
                    WritableFile& file);

    void write(std::span<const std::byte> plain);
    NonceAndTag finish();

  private:
    WritableFile& file_;
    NonceAndTag mark_;
    std::unique_ptr<SealingStream> stream_;
    std::vector<std::byte> sealed_;  ///< of the last piece
};

/// The whole box, with a fresh nonce.
std::string sealBox(const AuthenticatedEncryption& encryption, const EncryptionKey& key,
                    std::string_view plain);

/// Throws UnreadableSealedFile for anything but an untouched box sealed with this key.
std::string openBox(const AuthenticatedEncryption& encryption, const EncryptionKey& key,
                    std::string_view box);

/// Whether the file is the box with this mark, untouched. Reads all of it. Throws FileError.
bool isSealedBox(FileSystem& files, const AuthenticatedEncryption& encryption,
                 const EncryptionKey& key, const Path& path, const NonceAndTag& mark);

/// Whether the file holds what the box with this mark was made of by this key, going by the tag
/// alone: the box may be out of reach. Reads all of the file. Throws FileError.
bool hasContentOfBox(FileSystem& files, const AuthenticatedEncryption& encryption,
                     const EncryptionKey& key, const Path& path, const NonceAndTag& mark);

}  // namespace nookery
