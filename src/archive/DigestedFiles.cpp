#include "archive/DigestedFiles.h"

#include "foundation/Error.h"

namespace nookery {
namespace {

constexpr std::size_t chunkByteCount = 1 << 20;

}  // namespace

DigestedFiles::DigestedFiles(FileSystem& files, const ContentDigester& digester,
                             OperationControl control)
    : files_(files), digester_(digester), control_(std::move(control)), buffer_(chunkByteCount) {}

void DigestedFiles::begin(ArchiveProgress::Phase phase, std::int64_t fileCount) {
    progress_ = {.phase = phase, .fileCount = fileCount};
    report();
}

FileContent DigestedFiles::read(const Path& path) {
    const auto file = files_.openForReading(path);
    const FileContent content = pump(*file, {});
    ++progress_.filesDone;
    report();
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
    report();
    return content;
}

FileContent DigestedFiles::pump(ReadableFile& file, const Sink& sink) {
    const std::int64_t expectedByteCount = file.status().byteCount;
    const auto stream = digester_.sha256();
    FileContent content;
    while (true) {
        control_.throwIfStopped();
        const std::size_t count = file.read(buffer_);
        if (count == 0) break;
        const auto bytes = std::span<const std::byte>(buffer_).first(count);
        stream->update(bytes);
        if (sink) sink(bytes);
        content.byteCount += static_cast<std::int64_t>(count);
        // A file that grows as fast as it is read must not hold us for ever.
        if (content.byteCount > expectedByteCount) break;
    }
    content.digest = stream->finish();
    return content;
}

void DigestedFiles::report() {
    const bool isCopying = progress_.phase == ArchiveProgress::Phase::copying;
    control_.report({.what = isCopying ? "copying" : "checking",
                     .done = static_cast<std::uint64_t>(progress_.filesDone),
                     .total = static_cast<std::uint64_t>(progress_.fileCount)});
}

}  // namespace nookery
