#include "support/FaultyFileSystem.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ostream>

namespace nookery::testing {
namespace {

class FaultyWritableFile final : public WritableFile {
  public:
    FaultyWritableFile(FaultyFileSystem& owner, std::unique_ptr<WritableFile> real, Path path)
        : owner_(owner), real_(std::move(real)), path_(std::move(path)) {}

    void write(std::span<const std::byte> bytes) override {
        try {
            owner_.step("write", path_, true);
        } catch (const FileError&) {
            real_->write(bytes.first(bytes.size() / 2));  // short, as on a disk that fills up
            throw;
        }
        real_->write(bytes);
        written_ += static_cast<std::int64_t>(bytes.size());
        owner_.recordUnsynced(path_, synced_);
    }
    void sync() override {
        // The device is not asked: what survives a power cut is decided here, by `losePower`.
        owner_.step("sync", path_, true);
        synced_ = written_;
        owner_.recordSynced(path_);
    }
    void syncFileSystem() override {
        owner_.step("sync", path_, true);
        synced_ = written_;
        owner_.recordAllSynced();
    }
    void close() override {
        owner_.step("close", path_, false);
        real_->close();
    }

  private:
    FaultyFileSystem& owner_;
    std::unique_ptr<WritableFile> real_;
    Path path_;
    std::int64_t written_ = 0;
    std::int64_t synced_ = 0;
};

}  // namespace

void PrintTo(Fault fault, std::ostream* out) {
    static constexpr std::array names{"none", "fail", "diskFull", "crash"};
    *out << names.at(static_cast<std::size_t>(fault));
}

void FaultyFileSystem::arm(Fault fault, int k) {
    first_ = {fault, k};
    second_ = {};
    count_ = 0;
    syncedByteCounts_.clear();
}

void FaultyFileSystem::losePower() {
    for (const auto& [path, byteCount] : syncedByteCounts_) {
        if (std::filesystem::exists(path)) {
            std::filesystem::resize_file(path, static_cast<std::uintmax_t>(byteCount));
        }
    }
    syncedByteCounts_.clear();
}

bool FaultyFileSystem::hasCrashed() const {
    const auto isMet = [this](const Armed& armed) {
        return armed.fault == Fault::crash && count_ >= armed.at;
    };
    return isMet(first_) || isMet(second_);
}

void FaultyFileSystem::step(std::string_view operation, const Path& path, bool needsSpace) {
    ++count_;
    meet(first_, operation, path, needsSpace);
    meet(second_, operation, path, needsSpace);
}

void FaultyFileSystem::meet(const Armed& armed, std::string_view operation, const Path& path,
                            bool needsSpace) const {
    if (armed.fault == Fault::none || count_ < armed.at) return;
    if (armed.fault == Fault::crash) throw SimulatedCrash{};
    if (armed.fault == Fault::fail && count_ == armed.at) throw FileError(operation, path, EIO);
    if (armed.fault == Fault::diskFull && needsSpace) throw FileError(operation, path, ENOSPC);
}

std::optional<FileStatus> FaultyFileSystem::onItsDisk(std::optional<FileStatus> status,
                                                      const Path& path) const {
    const bool isOther = otherDisk_ && (path == *otherDisk_ ||
                                        path.native().starts_with(otherDisk_->native() + "/"));
    if (status && isOther) ++status->device;
    return status;
}

void FaultyFileSystem::checkReadable(std::string_view operation, const Path& path) const {
    if (unreadable_.contains(path)) throw FileError(operation, path, EACCES);
}

void FaultyFileSystem::recordUnsynced(const Path& path, std::int64_t syncedByteCount) {
    syncedByteCounts_[path] = syncedByteCount;
}

void FaultyFileSystem::recordSynced(const Path& path) { syncedByteCounts_.erase(path); }

void FaultyFileSystem::moveUnsynced(const Path& from, const Path& to) {
    syncedByteCounts_.erase(to);
    // A folder takes along what lies below it.
    std::map<Path, std::int64_t> moved;
    std::erase_if(syncedByteCounts_, [&](const auto& entry) {
        const auto [fromEnd, rest] =
            std::mismatch(from.begin(), from.end(), entry.first.begin(), entry.first.end());
        if (fromEnd != from.end()) return false;
        Path target = to;
        for (auto part = rest; part != entry.first.end(); ++part) target /= *part;
        moved[target] = entry.second;
        return true;
    });
    syncedByteCounts_.merge(moved);
}

std::unique_ptr<WritableFile> FaultyFileSystem::createFile(const Path& path) {
    step("create", path, true);
    recordUnsynced(path, 0);
    return std::make_unique<FaultyWritableFile>(*this, real_.createFile(path), path);
}

void FaultyFileSystem::createDirectory(const Path& path) {
    step("create", path, true);
    real_.createDirectory(path);
}

void FaultyFileSystem::rename(const Path& from, const Path& to) {
    step("move", from, false);
    real_.rename(from, to);
    moveUnsynced(from, to);
}

void FaultyFileSystem::renameExclusive(const Path& from, const Path& to) {
    step("move", from, false);
    real_.renameExclusive(from, to);
    moveUnsynced(from, to);
}

void FaultyFileSystem::hardLink(const Path& existing, const Path& link) {
    step("link", link, true);
    real_.hardLink(existing, link);
}

bool FaultyFileSystem::cloneFile(const Path& from, const Path& to) {
    step("clone", to, true);
    return real_.cloneFile(from, to);
}

void FaultyFileSystem::removeFile(const Path& path) {
    step("remove", path, false);
    real_.removeFile(path);
    syncedByteCounts_.erase(path);
}

void FaultyFileSystem::removeDirectory(const Path& path) {
    step("remove", path, false);
    real_.removeDirectory(path);
}

void FaultyFileSystem::setModified(const Path& path, std::int64_t nanoseconds) {
    step("change", path, false);
    real_.setModified(path, nanoseconds);
}

void FaultyFileSystem::syncDirectory(const Path& path) { step("sync", path, true); }

void FaultyFileSystem::syncFileSystem(const Path& path) {
    step("sync", path, true);
    // The tests' own disk need not wait: what counts here is what would be lost.
    syncedByteCounts_.clear();
}

}  // namespace nookery::testing
