#include "backends/documents/OpenedFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace nookery {

OpenedFile OpenedFile::open(const DocumentReading& reading) {
    // Without O_NONBLOCK, opening a pipe would wait for a writer.
    OpenedFile file(reading.path(),
                    ::open(reading.path().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (file.descriptor_ < 0) throw FileError("open", reading.path(), errno);
    struct stat status {};
    if (fstat(file.descriptor_, &status) != 0) throw FileError("open", reading.path(), errno);
    if (!S_ISREG(status.st_mode)) throw FileError("open", reading.path(), EINVAL);
    file.byteCount_ = static_cast<std::size_t>(status.st_size);
    if (file.byteCount_ > reading.limits().maximumFileByteCount) {
        reading.fail(fmt::format("is larger than the {} MB up to which documents are read.",
                                 reading.limits().maximumFileByteCount >> 20));
    }
    return file;
}

OpenedFile::OpenedFile(OpenedFile&& other) noexcept
    : path_(std::move(other.path_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      byteCount_(other.byteCount_) {}

OpenedFile::~OpenedFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

std::string OpenedFile::readAt(std::size_t offset, std::size_t byteCount) const {
    std::string bytes(byteCount, '\0');
    std::size_t filled = 0;
    while (filled < byteCount) {
        const ssize_t count = pread(descriptor_, bytes.data() + filled, byteCount - filled,
                                    static_cast<off_t>(offset + filled));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw FileError("read", path_, errno);
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);
    return bytes;
}

int OpenedFile::release() { return std::exchange(descriptor_, -1); }

}  // namespace nookery
