#pragma once

#include <cstddef>
#include <optional>
#include <stop_token>
#include <string>

#include "foundation/Error.h"
#include "foundation/FileSystem.h"
#include "platform/ContentType.h"

namespace nookery {

/// A document that cannot be read: damaged, encrypted, or larger than the limits allow. The
/// description says which.
class DocumentError : public Error {
  public:
    using Error::Error;
};

struct DocumentText {
    std::string title;  ///< the document's own title; empty when it has none
    std::string text;   ///< readable text in reading order, valid UTF-8, lines separated by LF
};

/// Bounds for documents that may be hostile. Text beyond its bound is left out. A document that
/// breaks another bound is refused with DocumentError.
struct DocumentLimits {
    std::size_t maximumFileByteCount = std::size_t{1} << 30;
    std::size_t maximumExpandedByteCount = std::size_t{256} << 20;  ///< all parts read, together
    double maximumExpansionRatio = 200;                             ///< of one part above 1 MiB
    std::size_t maximumTextByteCount = std::size_t{4} << 20;
};

/// Reads the text of documents whose formats need a library: PDF, the office formats, e-books,
/// mail. The core reads plain text and web pages itself. Any thread.
class DocumentReader {
  public:
    virtual ~DocumentReader() = default;
    /// Whether `read` knows this type.
    virtual bool canRead(const ContentType& type) const = 0;
    /// Reads the file without changing it. Throws DocumentError, FileError, or Cancelled when stop
    /// is requested. Needs nothing from the network.
    virtual DocumentText read(const Path& path, const ContentType& type,
                              const DocumentLimits& limits, std::stop_token stop) const = 0;
};

}  // namespace nookery
