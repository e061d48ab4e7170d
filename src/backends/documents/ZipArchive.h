#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "backends/documents/DocumentReading.h"

struct zip;
struct zip_file;

namespace nookery {

/// Of parts of one sort, such as slides or chapters, no more than this are read.
constexpr std::size_t maximumListedPartCount = 20'000;

/// One part of a zip archive being unpacked from the front.
class ZipPart {
  public:
    /// Fills as much of the buffer as there is; 0 means the end. Throws DocumentError for damage
    /// and for a part or archive that expands beyond the limits, Cancelled when stop is requested.
    std::size_t read(std::span<char> buffer);
    /// The rest of the part, at most `maximumByteCount` of it.
    std::string readAll(std::size_t maximumByteCount);

  private:
    friend class ZipArchive;
    struct Closer {
        void operator()(zip_file* file) const;
    };
    ZipPart(DocumentReading& reading, zip_file* file, std::size_t packedByteCount)
        : reading_(&reading), file_(file), packedByteCount_(packedByteCount) {}

    DocumentReading* reading_;
    std::unique_ptr<zip_file, Closer> file_;
    std::size_t packedByteCount_;
    std::size_t expandedByteCount_ = 0;
};

/// A document that is a zip archive of parts, open for reading. Outlives its parts.
class ZipArchive {
  public:
    /// Throws FileError or DocumentError.
    static ZipArchive open(DocumentReading& reading);

    /// None when there is no such part. Throws DocumentError when it is encrypted or damaged.
    std::optional<ZipPart> find(const std::string& name) const;
    /// As `find`, but a missing part is damage.
    ZipPart part(const std::string& name) const;

    DocumentReading& reading() const { return *reading_; }

  private:
    struct Closer {
        void operator()(zip* archive) const;
    };
    ZipArchive(DocumentReading& reading, zip* archive) : reading_(&reading), archive_(archive) {}

    DocumentReading* reading_;
    std::unique_ptr<zip, Closer> archive_;
};

/// The name of the part that `target`, a relative address within the archive, means when it stands
/// in part `base`. A leading "/" counts from the archive's root.
std::string resolvedPartName(std::string_view base, std::string_view target);

}  // namespace nookery
