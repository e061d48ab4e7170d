#include "archive/DigestedFiles.h"

#include "foundation/Error.h"

namespace nookery {
namespace {

constexpr std::size_t chunkByteCount = 1 << 20;

}  // namespace

DigestedFiles::DigestedFiles(FileSystem& files, const ContentDigester& digester,
                             ArchiveFollower follower)
    : files_(files), digester_(digester), follower_(std::move(follower)), buffer_(chunkByteCount) {}

void DigestedFiles::begin(ArchiveProgress::Phase phase, std::int64_t fileCount,
                          std::int64_t byteCount) {
    progress_ = {.phase = phase, .fileCount = fileCount, .byteCount = byteCount};
    tell();
}

FileContent DigestedFiles::read(const Path& path) {
    const auto file = files_.openForReading(path);
    const FileContent content = pump(*file, {});
    ++progress_.filesDone;
    tell();
    return content;
}

FileContent DigestedFiles::copy(const Path& from, const Path& to) {
    const auto source = files_.openForReading(from);
    const FileStatus before = source->status();
    const auto target = files_.createFile(to);
    const FileContent content =
        pump(*source, [&target](std::span<const std::byte> bytes) { target->write(bytes); });
    target->close();
    if (!source->status().sameContentMarks(before) || content.byteCount != before.byteCount) {
        throw Error(displayName(from) + " changed while it was being copied. Try again.");
    }
    files_.setModified(to, before.modifiedNanoseconds);
    ++progress_.filesDone;
    tell();
    return content;
}

FileContent DigestedFiles::pump(ReadableFile& file, const Sink& sink) {
    const std::int64_t expectedByteCount = file.status().byteCount;
    const auto stream = digester_.sha256();
    FileContent content;
    while (true) {
        if (follower_.stop.stop_requested()) throw Cancelled();
        const std::size_t count = file.read(buffer_);
        if (count == 0) break;
        const auto bytes = std::span<const std::byte>(buffer_).first(count);
        stream->update(bytes);
        if (sink) sink(bytes);
        content.byteCount += static_cast<std::int64_t>(count);
        progress_.bytesDone += static_cast<std::int64_t>(count);
        // A file that grows as fast as it is read must not hold us for ever.
        if (content.byteCount > expectedByteCount) break;
        if (count == buffer_.size()) tell();
    }
    content.digest = stream->finish();
    return content;
}

void DigestedFiles::tell() {
    if (follower_.progress) follower_.progress(progress_);
}

}  // namespace nookery
