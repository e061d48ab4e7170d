#pragma once

#include "backends/documents/DocumentReading.h"

namespace nookery {

/// A document's file, open for reading while this lives: a regular file within the size limit.
class OpenedFile {
  public:
    /// Throws FileError when it cannot be opened or is no regular file, DocumentError when it is
    /// larger than the limits allow.
    static OpenedFile open(const DocumentReading& reading);
    OpenedFile(OpenedFile&& other) noexcept;
    OpenedFile& operator=(OpenedFile&&) = delete;
    ~OpenedFile();

    int descriptor() const { return descriptor_; }
    std::size_t byteCount() const { return byteCount_; }

    /// Reads at a place without moving there; fewer bytes only at the end. Throws FileError.
    std::string readAt(std::size_t offset, std::size_t byteCount) const;

    /// Gives the descriptor away, to be closed by the receiver.
    int release();

  private:
    OpenedFile(const Path& path, int descriptor) : path_(path), descriptor_(descriptor) {}

    Path path_;
    int descriptor_;
    std::size_t byteCount_ = 0;
};

}  // namespace nookery
