#include "support/FaultyDatabaseFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace nookery::testing {
namespace {

FaultyDatabaseFiles* living = nullptr;

int openForReadingOnly(const char* path, int flags, int mode) {
    if ((flags & (O_RDWR | O_WRONLY | O_CREAT)) == 0) return ::open(path, flags, mode);
    errno = EROFS;
    return -1;
}

}  // namespace

FaultyDatabaseFiles::FaultyDatabaseFiles() : real_(sqlite3_vfs_find(nullptr)), layer_(*real_) {
    layer_.zName = "faulty";
    layer_.pNext = nullptr;
    layer_.xOpen = open;
    layer_.xDelete = remove;
    living = this;
    sqlite3_vfs_register(&layer_, 1);
}

FaultyDatabaseFiles::~FaultyDatabaseFiles() {
    real_->xSetSystemCall(real_, "open", nullptr);
    sqlite3_vfs_unregister(&layer_);
    living = nullptr;
}

void FaultyDatabaseFiles::arm(Fault fault, int k) {
    count_ = 0;
    faultAt_ = k;
    fault_ = fault;
}

void FaultyDatabaseFiles::refuseWriting() {
    real_->xSetSystemCall(real_, "open", reinterpret_cast<sqlite3_syscall_ptr>(openForReadingOnly));
}

FaultyDatabaseFiles& FaultyDatabaseFiles::current() { return *living; }

const sqlite3_io_methods& FaultyDatabaseFiles::realMethods(sqlite3_file* file) {
    return *reinterpret_cast<const Methods*>(file->pMethods)->real;
}

bool FaultyDatabaseFiles::meetsFault(bool needsSpace) {
    ++count_;
    if (fault_ == Fault::none || count_ < faultAt_) return false;
    if (fault_ == Fault::crash) ::_exit(EXIT_SUCCESS);
    return count_ == faultAt_ || (fault_ == Fault::diskFull && needsSpace);
}

void FaultyDatabaseFiles::wrap(sqlite3_file* file) {
    Methods& methods = methods_[file->pMethods];
    methods = {*file->pMethods, file->pMethods};
    methods.ours.xWrite = write;
    methods.ours.xTruncate = truncate;
    methods.ours.xSync = sync;
    file->pMethods = &methods.ours;
}

int FaultyDatabaseFiles::open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags,
                              int* outFlags) {
    FaultyDatabaseFiles& self = current();
    file->pMethods = nullptr;
    const bool isCompanion = (flags & SQLITE_OPEN_MAIN_DB) == 0;
    if (isCompanion && (flags & SQLITE_OPEN_CREATE) != 0 && self.meetsFault()) {
        return SQLITE_CANTOPEN;
    }
    const int code = self.real_->xOpen(self.real_, name, file, flags, outFlags);
    if (code == SQLITE_OK) self.wrap(file);
    return code;
}

int FaultyDatabaseFiles::remove(sqlite3_vfs*, const char* name, int syncsFolder) {
    FaultyDatabaseFiles& self = current();
    if (self.meetsFault()) return SQLITE_IOERR_DELETE;
    if (const int code = self.real_->xDelete(self.real_, name, 0); code != SQLITE_OK) return code;
    self.unsynced_.insert(&self);
    if (syncsFolder == 0) return SQLITE_OK;
    if (self.meetsFault()) return SQLITE_IOERR_DIR_FSYNC;
    self.unsynced_.erase(&self);
    return SQLITE_OK;
}

int FaultyDatabaseFiles::write(sqlite3_file* file, const void* bytes, int count,
                               sqlite3_int64 offset) {
    FaultyDatabaseFiles& self = current();
    if (self.meetsFault(true))
        return self.fault_ == Fault::diskFull ? SQLITE_FULL : SQLITE_IOERR_WRITE;
    self.unsynced_.insert(file);
    return realMethods(file).xWrite(file, bytes, count, offset);
}

int FaultyDatabaseFiles::truncate(sqlite3_file* file, sqlite3_int64 size) {
    FaultyDatabaseFiles& self = current();
    if (self.meetsFault()) return SQLITE_IOERR_TRUNCATE;
    self.unsynced_.insert(file);
    return realMethods(file).xTruncate(file, size);
}

int FaultyDatabaseFiles::sync(sqlite3_file* file, int how) {
    FaultyDatabaseFiles& self = current();
    if (self.meetsFault()) return SQLITE_IOERR_FSYNC;
    self.unsynced_.erase(file);
    return realMethods(file).xSync(file, how);
}

}  // namespace nookery::testing
