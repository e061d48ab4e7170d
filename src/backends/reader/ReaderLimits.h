#pragma once

#include "backends/reader/ReaderMessage.h"
#include "platform/DocumentReader.h"
#include "platform/ImageReader.h"

namespace nookery {

// How limits travel to a reader process.

inline void writeLimits(FieldWriter& writer, const DocumentLimits& limits) {
    writer.integer(static_cast<std::int64_t>(limits.maximumFileByteCount))
        .integer(static_cast<std::int64_t>(limits.maximumExpandedByteCount))
        .real(limits.maximumExpansionRatio)
        .integer(static_cast<std::int64_t>(limits.maximumTextByteCount));
}

inline void readLimits(FieldReader& reader, DocumentLimits& limits) {
    limits.maximumFileByteCount = static_cast<std::size_t>(reader.integer());
    limits.maximumExpandedByteCount = static_cast<std::size_t>(reader.integer());
    limits.maximumExpansionRatio = reader.real(0, 1e12);
    limits.maximumTextByteCount = static_cast<std::size_t>(reader.integer());
}

inline void writeLimits(FieldWriter& writer, const ImageLimits& limits) {
    writer.integer(static_cast<std::int64_t>(limits.maximumFileByteCount))
        .integer(static_cast<std::int64_t>(limits.maximumPixelCount))
        .integer(static_cast<std::int64_t>(limits.maximumDecodedByteCount));
}

inline void readLimits(FieldReader& reader, ImageLimits& limits) {
    limits.maximumFileByteCount = static_cast<std::size_t>(reader.integer());
    limits.maximumPixelCount = static_cast<std::size_t>(reader.integer());
    limits.maximumDecodedByteCount = static_cast<std::size_t>(reader.integer());
}

}  // namespace nookery
