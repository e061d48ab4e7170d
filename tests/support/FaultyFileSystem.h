#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <set>
#include <string>

#include "foundation/FileSystem.h"

namespace nookery::testing {

/// What happens at the chosen operation.
enum class Fault {
    none,
    fail,      ///< it fails with EIO and does nothing
    diskFull,  ///< it and every later operation that needs space fails with ENOSPC; a write is
               ///< short
    crash,     ///< it does nothing and SimulatedCrash is thrown, there and ever after
};

/// Names the fault in the names of the tests that meet it.
void PrintTo(Fault fault, std::ostream* out);

/// Not derived from Error: code that mends failures must not be able to mend this one.
struct SimulatedCrash {};

/// The kernel's file system with a fault at the k-th changing operation. Counts each changing
/// operation, so that a test can run an action once to learn how many there are and then once for
/// each k. Bytes written to a file but not synced are lost at a crash, as after a power cut; the
/// syncing itself is only recorded, since asking the real disk would make tests slow.
class FaultyFileSystem final : public FileSystem {
  public:
    explicit FaultyFileSystem(FileSystem& real) : real_(real) {}

    /// Starts counting anew; operation number `k` (from 1) meets the fault.
    void arm(Fault fault, int k);
    /// Once armed: another fault, at an operation later than the first, as in what undoes its harm.
    void armAlso(Fault fault, int k) { second_ = {fault, k}; }
    void disarm() { arm(Fault::none, 0); }
    int operationCount() const { return count_; }
    /// The fault "crash" was met.
    bool hasCrashed() const;

    /// Cuts every file with unsynced bytes back to what was synced. Call after a crash, before
    /// looking at what is left.
    void losePower();

    std::optional<FileStatus> status(const Path& path) override {
        return onItsDisk(real_.status(path), path);
    }
    std::optional<FileStatus> statusFollowingLinks(const Path& path) override {
        return onItsDisk(real_.statusFollowingLinks(path), path);
    }
    /// From now on the folder and all below it show as lying on a file system of their own.
    void makeOtherDisk(const Path& folder) { otherDisk_ = folder; }
    /// From now on reading the file or listing the folder fails with EACCES, which a test that runs
    /// as root could not bring about otherwise.
    void makeUnreadable(const Path& path) { unreadable_.insert(path); }

    std::vector<DirectoryEntry> list(const Path& directory) override {
        checkReadable("list", directory);
        return real_.list(directory);
    }
    std::unique_ptr<ReadableFile> openForReading(const Path& path) override {
        checkReadable("read", path);
        return real_.openForReading(path);
    }
    std::optional<Path> resolve(const Path& path) override { return real_.resolve(path); }
    std::unique_ptr<WritableFile> createFile(const Path& path) override;
    void createDirectory(const Path& path) override;
    void rename(const Path& from, const Path& to) override;
    void renameExclusive(const Path& from, const Path& to) override;
    void hardLink(const Path& existing, const Path& link) override;
    bool cloneFile(const Path& from, const Path& to) override;
    void removeFile(const Path& path) override;
    void removeDirectory(const Path& path) override;
    void setModified(const Path& path, std::int64_t nanoseconds) override;
    void syncDirectory(const Path& path) override;
    void syncFileSystem(const Path& path) override;

    /// One changing operation is about to happen; meets the fault when it is its turn.
    void step(std::string_view operation, const Path& path, bool needsSpace);
    void recordUnsynced(const Path& path, std::int64_t syncedByteCount);
    void recordSynced(const Path& path);
    void recordAllSynced() { syncedByteCounts_.clear(); }

  private:
    std::optional<FileStatus> onItsDisk(std::optional<FileStatus> status, const Path& path) const;
    void checkReadable(std::string_view operation, const Path& path) const;
    void moveUnsynced(const Path& from, const Path& to);

    FileSystem& real_;
    struct Armed {
        Fault fault = Fault::none;
        int at = 0;
    };
    void meet(const Armed& armed, std::string_view operation, const Path& path,
              bool needsSpace) const;

    Armed first_;
    Armed second_;
    int count_ = 0;
    std::map<Path, std::int64_t> syncedByteCounts_;
    std::set<Path> unreadable_;
    std::optional<Path> otherDisk_;
};

}  // namespace nookery::testing
