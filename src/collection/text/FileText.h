#pragma once

#include <optional>
#include <stop_token>
#include <string>

#include "platform/DocumentReader.h"

namespace nookery {

struct ExtractedText {
    std::string title;  ///< the document's own; empty when it has none
    std::string text;   ///< valid UTF-8 without NUL; empty where there is nothing to read
    /// Why there is no text although the file should have some: one line for the person.
    std::optional<std::string> problem;
};

/// The words in a file of any type: documents through their reader, web pages and plain text here.
/// A page in UTF-8 has a title of its own; an older encoding gives its text alone. Types without
/// words (images, sounds, archives) give nothing. A damaged, encrypted or oversized document is a
/// `problem`, not an exception. Reads no more of a plain text than `maximumTextByteCount`.
/// Throws FileError when the file cannot be read, Cancelled when stop is requested. Any thread.
ExtractedText extractText(const Path& path, const ContentType& type, FileSystem& files,
                          const DocumentReader& documents, const DocumentLimits& limits = {},
                          std::stop_token stop = {});

}  // namespace nookery
