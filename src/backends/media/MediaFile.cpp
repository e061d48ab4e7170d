#include "backends/media/MediaFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/MediaReader.h"

namespace nookery {
namespace {

constexpr int bufferSize = 64 << 10;

/// The formats that name other files to be opened.
int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EACCES);
}

int openRegularFile(const Path& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) throw FileError("open", path, errno);
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(descriptor);
        throw FileError("open", path, EINVAL);
    }
    return descriptor;
}

}  // namespace

MediaFile::MediaFile(const Path& path, std::stop_token stop)
    : path_(path), source_{openRegularFile(path), std::move(stop)} {
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    reading_ = avio_alloc_context(buffer, bufferSize, 0, &source_, read, nullptr, seek);
    format_ = avformat_alloc_context();
    if (reading_ == nullptr || format_ == nullptr) {
        close();
        throw std::bad_alloc();
    }
    format_->pb = reading_;
    format_->io_open = refuseToOpen;
    format_->interrupt_callback = {isStopped, &source_};
    // A failure to open frees the context.
    const bool isOpen = avformat_open_input(&format_, nullptr, nullptr, nullptr) >= 0;
    if (isOpen && avformat_find_stream_info(format_, nullptr) >= 0) return;
    close();
    fail("cannot be read: it is damaged, or of a format that is not known");
}

MediaFile::~MediaFile() { close(); }

void MediaFile::close() {
    avformat_close_input(&format_);
    if (reading_ != nullptr) av_freep(&reading_->buffer);
    avio_context_free(&reading_);
    ::close(source_.descriptor);
}

int MediaFile::read(void* source, std::uint8_t* buffer, int byteCount) {
    const auto* file = static_cast<const Source*>(source);
    if (file->stop.stop_requested()) return AVERROR_EXIT;
    const ssize_t count = ::read(file->descriptor, buffer, static_cast<std::size_t>(byteCount));
    if (count < 0) return AVERROR(errno);
    return count == 0 ? AVERROR_EOF : static_cast<int>(count);
}

std::int64_t MediaFile::seek(void* source, std::int64_t offset, int whence) {
    const int descriptor = static_cast<const Source*>(source)->descriptor;
    struct stat status {};
    if (whence == AVSEEK_SIZE) return ::fstat(descriptor, &status) == 0 ? status.st_size : -1;
    return ::lseek(descriptor, offset, whence & ~AVSEEK_FORCE);
}

int MediaFile::isStopped(void* source) {
    return static_cast<const Source*>(source)->stop.stop_requested() ? 1 : 0;
}

void MediaFile::fail(std::string_view what) const {
    if (source_.stop.stop_requested()) throw Cancelled();
    throw MediaError(fmt::format("\"{}\" {}.", displayName(path_.filename()), what));
}

AVStream* MediaFile::best(AVMediaType kind) const {
    const int index = av_find_best_stream(format_, kind, -1, -1, nullptr, 0);
    if (index < 0) return nullptr;
    AVStream* stream = format_->streams[index];
    return (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0 ? nullptr : stream;
}

AVStream* MediaFile::cover() const {
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
        AVStream* stream = format_->streams[i];
        if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) return stream;
    }
    return nullptr;
}

}  // namespace nookery
