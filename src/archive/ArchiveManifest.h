#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "archive/DigestedFiles.h"
#include "foundation/Error.h"
#include "foundation/FileSystem.h"
#include "records/CrumbItem.h"

namespace nookery {

/// One record of the manifest: a memory, and where in the archive its original lies.
struct ItemRecord {
    CrumbItemPointer item;
    std::optional<std::string> exportedOriginal;  ///< none when the memory has no file
};

/// One file of the archive, as it must be found there.
struct FileRecord {
    std::string relativePath;
    FileContent content;
};

/// All that Collection.json says, as an export knows it.
struct ArchiveManifest {
    Timestamp exportedAt;
    std::vector<CrumbGroup> groups;
    std::vector<ItemRecord> records;
    std::vector<FileRecord> files;  ///< sorted by path, byte by byte
    std::vector<std::string> originalFilesMissing;
};

/// Writes the manifest into a new file: pretty-printed, keys sorted. Holds one record at a time, so
/// that a library of any size can be written. The file is not synced. Throws FileError.
void writeManifest(FileSystem& files, const Path& path, const ArchiveManifest& manifest);

/// What a restore needs of a manifest.
struct ArchiveContents {
    struct File {
        std::string relativePath;  ///< as it stands there: it may say anything
        std::int64_t byteCount = 0;
        /// 64 lower-case digits; what is written in any other way never matches.
        std::optional<Sha256Digest> digest;
    };

    std::int64_t recordCount = 0;
    std::vector<File> files;
    /// `exportedOriginal` of each memory that has one; it may say anything.
    std::map<Uuid, std::string> exportedOriginals;
};

/// A file that is no manifest of an archive that this program can read.
class ManifestError : public Error {
  public:
    using Error::Error;
};

/// Bounds for manifests of foreign origin: one beyond them is refused before it fills the memory.
struct ManifestLimits {
    std::int64_t valueByteCount = std::int64_t{256} << 20;  ///< from one value to the next
    std::size_t recordCount = 10'000'000;
    std::size_t fileCount = 4'000'000;
    int depth = 16;
};

/// Reads a manifest of any size, one record at a time, and checks each field's type. Throws
/// ManifestError, or FileError when the file cannot be read.
ArchiveContents readManifest(FileSystem& files, const Path& path,
                             const ManifestLimits& limits = {});

}  // namespace nookery
