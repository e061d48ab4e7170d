#include "collection/originals/FileDigest.h"

#include <vector>

namespace nookery {

Sha256Digest digestOfFile(FileSystem& files, const ContentDigester& digester, const Path& path) {
    constexpr std::size_t chunkByteCount = 1 << 18;
    const auto file = files.openForReading(path);
    const auto stream = digester.sha256();
    std::vector<std::byte> buffer(chunkByteCount);
    while (const std::size_t count = file->read(buffer)) {
        stream->update(std::span(buffer).first(count));
    }
    return stream->finish();
}

}  // namespace nookery
