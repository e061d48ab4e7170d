#include "mobilelink/SealedBox.h"

#include "mobilelink/LinkErrors.h"

namespace nookery {
namespace {

constexpr std::size_t nonceByteCount = std::tuple_size_v<EncryptionNonce>;
constexpr std::size_t tagByteCount = std::tuple_size_v<AuthenticationTag>;

template <typename Array>
Array arrayOf(std::span<const std::byte> bytes) {
    Array array{};
    std::copy(bytes.begin(), bytes.end(), array.begin());
    return array;
}

/// Opens a box while it is read. Holds the last bytes back, since they may be the tag.
class BoxChecker {
  public:
    BoxChecker(const AuthenticatedEncryption& encryption, const EncryptionKey& key,
               const NonceAndTag& mark)
        : mark_(mark), stream_(encryption.open(key, mark.nonce)) {}

    /// Takes the next bytes after the nonce.
    void take(std::span<const std::byte> bytes) {
        held_.insert(held_.end(), bytes.begin(), bytes.end());
        if (held_.size() <= tagByteCount) return;
        const std::span<std::byte> sealed = std::span(held_).first(held_.size() - tagByteCount);
        stream_->update(sealed, sealed);
        held_.erase(held_.begin(), held_.end() - tagByteCount);
    }

    bool isGenuine() {
        return held_.size() == tagByteCount && arrayOf<AuthenticationTag>(held_) == mark_.tag &&
               stream_->finish(mark_.tag);
    }

  private:
    NonceAndTag mark_;
    std::unique_ptr<OpeningStream> stream_;
    std::vector<std::byte> held_;
};

/// Fills the buffer, or reads to the end of the file.
std::size_t readFully(ReadableFile& file, std::span<std::byte> buffer) {
    std::size_t filled = 0;
    while (filled < buffer.size()) {
        const std::size_t count = file.read(buffer.subspan(filled));
        if (count == 0) break;
        filled += count;
    }
    return filled;
}

}  // namespace

SealedBoxWriter::SealedBoxWriter(const AuthenticatedEncryption& encryption,
                                 const EncryptionKey& key, WritableFile& file)
    : file_(file), mark_{.nonce = encryption.randomNonce()} {
    stream_ = encryption.seal(key, mark_.nonce);
    file_.write(mark_.nonce);
}

void SealedBoxWriter::write(std::span<const std::byte> plain) {
    sealed_.resize(plain.size());
    stream_->update(plain, sealed_);
    file_.write(sealed_);
}

NonceAndTag SealedBoxWriter::finish() {
    mark_.tag = stream_->finish();
    file_.write(mark_.tag);
    return mark_;
}

std::string sealBox(const AuthenticatedEncryption& encryption, const EncryptionKey& key,
                    std::string_view plain) {
    const EncryptionNonce nonce = encryption.randomNonce();
    std::string box(nonceByteCount + plain.size() + tagByteCount, '\0');
    const auto bytes = std::as_writable_bytes(std::span(box));
    std::copy(nonce.begin(), nonce.end(), bytes.begin());
    const auto stream = encryption.seal(key, nonce);
    stream->update(std::as_bytes(std::span(plain)), bytes.subspan(nonceByteCount, plain.size()));
    const AuthenticationTag tag = stream->finish();
    std::copy(tag.begin(), tag.end(), bytes.end() - tagByteCount);
    return box;
}

std::string openBox(const AuthenticatedEncryption& encryption, const EncryptionKey& key,
                    std::string_view box) {
    const auto bytes = std::as_bytes(std::span(box));
    if (bytes.size() < nonceByteCount + tagByteCount) throw UnreadableSealedFile();
    std::string plain(bytes.size() - nonceByteCount - tagByteCount, '\0');
    const auto stream = encryption.open(key, arrayOf<EncryptionNonce>(bytes.first(nonceByteCount)));
    stream->update(bytes.subspan(nonceByteCount, plain.size()),
                   std::as_writable_bytes(std::span(plain)));
    if (!stream->finish(arrayOf<AuthenticationTag>(bytes.last(tagByteCount)))) {
        throw UnreadableSealedFile();
    }
    return plain;
}

bool isSealedBox(FileSystem& files, const AuthenticatedEncryption& encryption,
                 const EncryptionKey& key, const Path& path, const NonceAndTag& mark) {
    const auto file = files.openForReading(path);
    EncryptionNonce nonce{};
    if (readFully(*file, nonce) < nonce.size() || nonce != mark.nonce) return false;
    BoxChecker checker(encryption, key, mark);
    std::vector<std::byte> buffer(1 << 18);
    while (const std::size_t count = file->read(buffer)) {
        checker.take(std::span<const std::byte>(buffer).first(count));
    }
    return checker.isGenuine();
}

bool hasContentOfBox(FileSystem& files, const AuthenticatedEncryption& encryption,
                     const EncryptionKey& key, const Path& path, const NonceAndTag& mark) {
    const auto file = files.openForReading(path);
    // Using a nonce again is harmless here: the sealed bytes are thrown away.
    const auto stream = encryption.seal(key, mark.nonce);
    std::vector<std::byte> buffer(1 << 18);
    while (const std::size_t count = file->read(buffer)) {
        const auto bytes = std::span(buffer).first(count);
        stream->update(bytes, bytes);
    }
    return stream->finish() == mark.tag;
}

}  // namespace nookery
