#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "foundation/FileSystem.h"

namespace nookery {
namespace {

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    int number() const { return number_; }
    int release() { return std::exchange(number_, -1); }

  private:
    int number_;
};

std::int64_t nanosecondsOf(const ::timespec& time) {
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

FileStatus toFileStatus(const struct ::stat& raw) {
    FileStatus status;
    if (S_ISREG(raw.st_mode)) status.type = FileType::regular;
    if (S_ISDIR(raw.st_mode)) status.type = FileType::directory;
    if (S_ISLNK(raw.st_mode)) status.type = FileType::symbolicLink;
    status.byteCount = raw.st_size;
    status.modifiedNanoseconds = nanosecondsOf(raw.st_mtim);
    status.changedNanoseconds = nanosecondsOf(raw.st_ctim);
    status.device = raw.st_dev;
    status.inode = raw.st_ino;
    status.linkCount = raw.st_nlink;
    return status;
}

FileType toFileType(unsigned char directoryType) {
    switch (directoryType) {
        case DT_REG:
            return FileType::regular;
        case DT_DIR:
            return FileType::directory;
        case DT_LNK:
            return FileType::symbolicLink;
        default:
            return FileType::other;
    }
}

bool meansNotThere(int errorNumber) { return errorNumber == ENOENT || errorNumber == ENOTDIR; }

void check(int result, std::string_view operation, const Path& path) {
    if (result != 0) throw FileError(operation, path, errno);
}

/// The kernel would read a path with a NUL in it only so far, and take it for another.
const char* kernelName(const Path& path) {
    if (path.native().find('\0') != std::string::npos) throw FileError("use", path, EINVAL);
    return path.c_str();
}

Descriptor openOrThrow(const Path& path, int flags, std::string_view operation) {
    int number = -1;
    do {
        number = ::open(kernelName(path), flags | O_CLOEXEC, 0600);
    } while (number < 0 && errno == EINTR);
    if (number < 0) throw FileError(operation, path, errno);
    return Descriptor(number);
}

class PosixReadableFile final : public ReadableFile {
  public:
    PosixReadableFile(Descriptor descriptor, Path path)
        : descriptor_(std::move(descriptor)), path_(std::move(path)) {}

    std::size_t read(std::span<std::byte> buffer) override {
        std::size_t filled = 0;
        while (filled < buffer.size()) {
            const ssize_t count =
                ::read(descriptor_.number(), buffer.data() + filled, buffer.size() - filled);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) throw FileError("read", path_, errno);
            if (count == 0) break;
            filled += static_cast<std::size_t>(count);
        }
        return filled;
    }

    FileStatus status() override {
        struct ::stat raw {};
        check(::fstat(descriptor_.number(), &raw), "look at", path_);
        return toFileStatus(raw);
    }

  private:
    Descriptor descriptor_;
    Path path_;
};

class PosixWritableFile final : public WritableFile {
  public:
    PosixWritableFile(Descriptor descriptor, Path path)
        : descriptor_(std::move(descriptor)), path_(std::move(path)) {}

    void write(std::span<const std::byte> bytes) override {
        while (!bytes.empty()) {
            const ssize_t count = ::write(descriptor_.number(), bytes.data(), bytes.size());
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) throw FileError("write", path_, errno);
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
    }

    void sync() override { check(::fsync(descriptor_.number()), "write", path_); }

    void syncFileSystem() override { check(::syncfs(descriptor_.number()), "write", path_); }

    void close() override { check(::close(descriptor_.release()), "write", path_); }

  private:
    Descriptor descriptor_;
    Path path_;
};

class PosixFileSystem final : public FileSystem {
  public:
    std::optional<FileStatus> status(const Path& path) override {
        return statusWith(path, AT_SYMLINK_NOFOLLOW);
    }

    std::optional<FileStatus> statusFollowingLinks(const Path& path) override {
        return statusWith(path, 0);
    }

    std::vector<DirectoryEntry> list(const Path& directory) override {
        std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(kernelName(directory)), &::closedir);
        if (!stream) throw FileError("list", directory, errno);
        std::vector<DirectoryEntry> entries;
        while (true) {
            errno = 0;
            const dirent* entry = ::readdir(stream.get());
            if (entry == nullptr) {
                if (errno != 0) throw FileError("list", directory, errno);
                return entries;
            }
            const std::string_view name = entry->d_name;
            if (name == "." || name == "..") continue;
            entries.push_back({Path(name), typeOf(directory, *entry)});
        }
    }

    std::unique_ptr<ReadableFile> openForReading(const Path& path) override {
        // Without O_NONBLOCK, opening a named pipe would wait for a writer.
        Descriptor descriptor = openOrThrow(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK, "read");
        auto file = std::make_unique<PosixReadableFile>(std::move(descriptor), path);
        if (const FileType type = file->status().type; type != FileType::regular) {
            throw FileError("read", path, type == FileType::directory ? EISDIR : EINVAL);
        }
        return file;
    }

    std::optional<Path> resolve(const Path& path) override {
        std::unique_ptr<char, void (*)(void*)> resolved(::realpath(kernelName(path), nullptr),
                                                        &std::free);
        if (resolved) return Path(resolved.get());
        if (meansNotThere(errno)) return std::nullopt;
        throw FileError("find", path, errno);
    }

    std::unique_ptr<WritableFile> createFile(const Path& path) override {
        return std::make_unique<PosixWritableFile>(
            openOrThrow(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, "create"), path);
    }

    void createDirectory(const Path& path) override {
        if (::mkdir(kernelName(path), 0700) == 0) return;
        const int errorNumber = errno;
        const auto existing = errorNumber == EEXIST ? statusFollowingLinks(path) : std::nullopt;
        if (!existing || existing->type != FileType::directory) {
            throw FileError("create", path, errorNumber);
        }
    }

    void rename(const Path& from, const Path& to) override {
        check(::rename(kernelName(from), kernelName(to)), "move", from);
    }

    void renameExclusive(const Path& from, const Path& to) override {
        if (::renameat2(AT_FDCWD, kernelName(from), AT_FDCWD, kernelName(to), RENAME_NOREPLACE) ==
            0) {
            return;
        }
        if (errno != EINVAL && errno != ENOSYS) {
            throw FileError("move", errno == EEXIST ? to : from, errno);
        }
        // Network and FUSE file systems often lack the flag. A hard link refuses an existing name
        // as well; folders cannot be linked, and there a check must do.
        if (status(to)) throw FileError("move", to, EEXIST);
        check(::rename(kernelName(from), kernelName(to)), "move", from);
    }

    void hardLink(const Path& existing, const Path& link) override {
        check(::link(kernelName(existing), kernelName(link)), "link", link);
    }

    bool cloneFile(const Path& from, const Path& to) override {
        const Descriptor source = openOrThrow(from, O_RDONLY | O_NOFOLLOW, "read");
        const Descriptor target = openOrThrow(to, O_WRONLY | O_CREAT | O_EXCL, "create");
        if (::ioctl(target.number(), FICLONE, source.number()) == 0) {
            check(::fsync(target.number()), "write", to);
            return true;
        }
        ::unlink(kernelName(to));
        return false;
    }

    void removeFile(const Path& path) override {
        check(::unlink(kernelName(path)), "remove", path);
    }

    void removeDirectory(const Path& path) override {
        check(::rmdir(kernelName(path)), "remove", path);
    }

    void setModified(const Path& path, std::int64_t nanoseconds) override {
        timespec moment{};
        moment.tv_sec = nanoseconds / 1'000'000'000;
        moment.tv_nsec = nanoseconds % 1'000'000'000;
        if (moment.tv_nsec < 0) {
            moment.tv_sec -= 1;
            moment.tv_nsec += 1'000'000'000;
        }
        const timespec times[2] = {{0, UTIME_OMIT}, moment};
        check(::utimensat(AT_FDCWD, kernelName(path), times, AT_SYMLINK_NOFOLLOW), "change", path);
    }

    void syncDirectory(const Path& path) override {
        const Descriptor directory = openOrThrow(path, O_RDONLY | O_DIRECTORY, "write");
        // Some network file systems answer EINVAL: there is nothing they could sync.
        if (::fsync(directory.number()) != 0 && errno != EINVAL) {
            throw FileError("write", path, errno);
        }
    }

    void syncFileSystem(const Path& path) override {
        const Descriptor place = openOrThrow(path, O_RDONLY | O_NONBLOCK, "write");
        check(::syncfs(place.number()), "write", path);
    }

  private:
    static std::optional<FileStatus> statusWith(const Path& path, int flags) {
        struct ::stat raw {};
        if (::fstatat(AT_FDCWD, kernelName(path), &raw, flags) == 0) return toFileStatus(raw);
        if (meansNotThere(errno)) return std::nullopt;
        throw FileError("look at", path, errno);
    }

    FileType typeOf(const Path& directory, const dirent& entry) {
        if (entry.d_type != DT_UNKNOWN) return toFileType(entry.d_type);
        const auto found = status(directory / entry.d_name);
        return found ? found->type : FileType::other;
    }
};

}  // namespace

std::unique_ptr<FileSystem> makePosixFileSystem() { return std::make_unique<PosixFileSystem>(); }

}  // namespace nookery
