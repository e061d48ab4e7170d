#pragma once

#include <string>

#include "foundation/Error.h"
#include "foundation/Timestamp.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Another process owns the library: "in use by process N on HOST since ...".
class LibraryInUse : public Error {
  public:
    using Error::Error;
};

/// The right to change a library, held by one process at a time. An advisory lock of the kernel on
/// the file "library.lock": it ends with the process, however that ends. The file tells who holds
/// it; its content alone means nothing.
class LibraryLock {
  public:
    /// Creates the library folder when it is missing. Throws LibraryInUse when another process (or
    /// another lock in this one) holds the library, FileError when the file cannot be made.
    static LibraryLock acquire(FileSystem& files, const LibraryLayout& layout, Timestamp now);

    LibraryLock(LibraryLock&& other) noexcept;
    LibraryLock& operator=(LibraryLock&& other) noexcept;
    ~LibraryLock();

  private:
    explicit LibraryLock(int descriptor) : descriptor_(descriptor) {}

    int descriptor_;
};

}  // namespace nookery
