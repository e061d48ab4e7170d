#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

#include <memory>
#include <stop_token>

#include "foundation/FileSystem.h"

namespace nookery {

/// A sound or film, open while this lives. The library reads it through a descriptor of ours, so
/// that nothing in the file makes it open another file or address.
class MediaFile {
  public:
    /// Throws FileError when the file cannot be opened, MediaError when it is of no known format.
    MediaFile(const Path& path, std::stop_token stop);
    ~MediaFile();
    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;

    AVFormatContext* operator->() const { return format_; }
    AVFormatContext* get() const { return format_; }

    /// The stream that a player would choose; null when there is none. Covers do not count.
    AVStream* best(AVMediaType kind) const;
    /// The stream of the picture that the file carries as its cover; null when it carries none.
    AVStream* cover() const;

    /// Throws Cancelled when stop was requested, else MediaError.
    [[noreturn]] void fail(std::string_view what) const;

  private:
    struct Source {
        int descriptor = -1;
        std::stop_token stop;
    };
    static int read(void* source, std::uint8_t* buffer, int byteCount);
    static std::int64_t seek(void* source, std::int64_t offset, int whence);
    static int isStopped(void* source);
    void close();

    Path path_;
    Source source_;
    AVIOContext* reading_ = nullptr;
    AVFormatContext* format_ = nullptr;
};

}  // namespace nookery
