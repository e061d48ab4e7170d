#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "foundation/Wipe.h"

namespace nookery {

/// A key of 256 bits. It is never copied. Its destruction wipes it.
class EncryptionKey {
  public:
    static constexpr std::size_t byteCount = 32;

    /// None unless there are exactly 32 bytes. The caller wipes its own.
    static std::optional<EncryptionKey> fromBytes(std::string_view bytes) {
        if (bytes.size() != byteCount) return std::nullopt;
        return EncryptionKey(std::as_bytes(std::span(bytes)));
    }

    EncryptionKey(EncryptionKey&& other) noexcept : bytes_(other.bytes_) { wipe(other.bytes_); }
    EncryptionKey& operator=(EncryptionKey&&) = delete;
    ~EncryptionKey() { wipe(bytes_); }

    std::span<const std::byte, byteCount> bytes() const { return bytes_; }

  private:
    explicit EncryptionKey(std::span<const std::byte> bytes) {
        std::copy(bytes.begin(), bytes.end(), bytes_.begin());
    }

    std::array<std::byte, byteCount> bytes_{};
};

using EncryptionNonce = std::array<std::byte, 12>;
using AuthenticationTag = std::array<std::byte, 16>;

/// Encrypts a stream of bytes. One use each.
class SealingStream {
  public:
    virtual ~SealingStream() = default;
    /// `sealed` is as long as `plain`, and may be the same bytes.
    virtual void update(std::span<const std::byte> plain, std::span<std::byte> sealed) = 0;
    [[nodiscard]] virtual AuthenticationTag finish() = 0;
};

/// Decrypts a stream of bytes. One use each. The caller must not use any of the plain bytes before
/// `finish` has answered true.
class OpeningStream {
  public:
    virtual ~OpeningStream() = default;
    /// `plain` is as long as `sealed`, and may be the same bytes.
    virtual void update(std::span<const std::byte> sealed, std::span<std::byte> plain) = 0;
    /// Whether the tag is that of exactly these bytes under this key and nonce.
    [[nodiscard]] virtual bool finish(const AuthenticationTag& tag) = 0;
};

/// AES-256-GCM without additional data. Any thread; each stream on one. Throws Error when the
/// library behind it fails; the description tells nothing of a key.
class AuthenticatedEncryption {
  public:
    virtual ~AuthenticatedEncryption() = default;

    /// Fresh and random, from a source fit for keys.
    virtual EncryptionNonce randomNonce() const = 0;
    /// The same nonce must never seal two texts under one key.
    virtual std::unique_ptr<SealingStream> seal(const EncryptionKey& key,
                                                const EncryptionNonce& nonce) const = 0;
    virtual std::unique_ptr<OpeningStream> open(const EncryptionKey& key,
                                                const EncryptionNonce& nonce) const = 0;
};

}  // namespace nookery
