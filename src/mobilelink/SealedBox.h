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

/// The nonce and tag of a sealed box. No two boxes of one key have the same.
struct NonceAndTag {
    EncryptionNonce nonce{};
    AuthenticationTag tag{};

    bool operator==(const NonceAndTag&) const = default;
};

/// Writes a sealed box into a new file, piece by piece, with the same memory for content of any
/// size.
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

/// Seals the content in one piece, with a fresh nonce.
std::string sealBox(const AuthenticatedEncryption& encryption, const EncryptionKey& key,
                    std::string_view plain);

/// Throws UnreadableSealedFile unless the box was sealed with this key and never changed.
std::string openBox(const AuthenticatedEncryption& encryption, const EncryptionKey& key,
                    std::string_view box);

/// Whether the file is the unchanged box with this mark. Reads all of it. Throws FileError.
bool isSealedBox(FileSystem& files, const AuthenticatedEncryption& encryption,
                 const EncryptionKey& key, const Path& path, const NonceAndTag& mark);

/// Whether the file has the content of the box that this key sealed with this mark. Compares the
/// tag only and does not need the box itself. Reads all of the file. Throws FileError.
bool hasContentOfBox(FileSystem& files, const AuthenticatedEncryption& encryption,
                     const EncryptionKey& key, const Path& path, const NonceAndTag& mark);

}  // namespace nookery
