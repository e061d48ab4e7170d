#include "collection/database/LibraryLock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "foundation/Text.h"

namespace nookery {
namespace {

std::string hostName() {
    std::array<char, 256> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0) return "this host";
    return name.data();
}

/// "process N on HOST since TIME", as it stands in the lock file.
std::string ownDescription(Timestamp now) {
    return fmt::format("process {} on {} since {}", ::getpid(), hostName(), toIso8601(now));
}

/// What the holder wrote; it may be caught between taking the lock and writing.
std::string holderDescription(int descriptor) {
    std::array<char, 512> content{};
    const ssize_t count = ::pread(descriptor, content.data(), content.size(), 0);
    if (count <= 0) return "another process";
    const std::string text = toValidUtf8({content.data(), static_cast<std::size_t>(count)});
    return std::string(trimmed(text));
}

/// The lock holds without it, and a full disk must not keep anybody from making room: a text that
/// cannot be written is left empty.
void writeDescription(int descriptor, Timestamp now) {
    const std::string text = ownDescription(now) + "\n";
    if (::ftruncate(descriptor, 0) != 0) return;
    if (::pwrite(descriptor, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size())) {
        return;
    }
    static_cast<void>(::ftruncate(descriptor, 0) == 0);
}

}  // namespace

LibraryLock LibraryLock::acquire(FileSystem& files, const LibraryLayout& layout, Timestamp now) {
    createDirectories(files, layout.library());
    const Path path = layout.lockFile();
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0) throw FileError("open", path, errno);
    LibraryLock lock(descriptor);
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) throw FileError("lock", path, errno);
        throw LibraryInUse(fmt::format("The library {} is in use by {}.",
                                       displayName(layout.library()),
                                       holderDescription(descriptor)));
    }
    writeDescription(descriptor, now);
    return lock;
}

LibraryLock::LibraryLock(LibraryLock&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

LibraryLock& LibraryLock::operator=(LibraryLock&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

LibraryLock::~LibraryLock() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

}  // namespace nookery
