#include "collection/enrichment/Thumbnails.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "foundation/DurableFile.h"
#include "platform/ContentType.h"
#include "platform/ImageReader.h"
#include "platform/MediaReader.h"
#include "platform/PageReader.h"
#include "platform/PictureEncoder.h"

namespace nookery {
namespace {

/// The mean of the pixels in a rectangle that holds at least one.
std::array<std::uint8_t, 3> meanOf(const Picture& picture, int left, int top, int right,
                                   int bottom) {
    std::array<std::uint64_t, 3> sums{};
    for (int y = top; y < bottom; ++y) {
        const std::uint8_t* pixel =
            &picture.pixels[3 *
                            (static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) +
                             static_cast<std::size_t>(left))];
        for (int x = left; x < right; ++x) {
            for (std::uint64_t& sum : sums) sum += *pixel++;
        }
    }
    const auto count =
        static_cast<std::uint64_t>(right - left) * static_cast<std::uint64_t>(bottom - top);
    std::array<std::uint8_t, 3> mean{};
    std::transform(sums.begin(), sums.end(), mean.begin(),
                   [count](std::uint64_t sum) { return static_cast<std::uint8_t>(sum / count); });
    return mean;
}

/// Where part `index` of `parts` begins on a side; no part is empty when there are enough pixels.
int partStart(int side, int index, int parts) {
    return static_cast<int>(static_cast<std::int64_t>(side) * index / parts);
}

}  // namespace

Path thumbnailPath(const LibraryLayout& layout, const Uuid& id, const FileStatus& original) {
    return layout.thumbnails() / fmt::format("{}-{}-{}.jpg", id.toString(), original.byteCount,
                                             original.modifiedNanoseconds);
}

Picture pictureOfOriginal(const Path& original, int longestSide, const Platform& platform,
                          const std::stop_token& stop) {
    const ContentType type = platform.contentTypes.detect(
        readFileHead(platform.files, original, ContentTypeDetector::headByteCount),
        original.filename());
    if (platform.images.canRead(type)) {
        return platform.images.read(original, type, longestSide, ImageLimits{}, stop);
    }
    if (platform.media.canRead(type)) return platform.media.cover(original, longestSide, stop);
    if (type.mediaType != "application/pdf") return {};
    return platform.pages.render(original, 0, longestSide, DocumentLimits{}, stop);
}

void writeThumbnail(const Uuid& id, const FileStatus& original, const Picture& picture,
                    const Platform& platform, const LibraryLayout& layout) {
    writeToCache(thumbnailPath(layout, id, original),
                 platform.pictureEncoder.jpeg(scaledDown(picture, thumbnailSide)), platform);
}

void writeToCache(const Path& place, std::string_view bytes, const Platform& platform) {
    createDirectories(platform.files, place.parent_path());
    // It can be made again: unlike the library's own files it need not survive a power cut.
    const Path temporary = temporaryBeside(place);
    const auto file = platform.files.createFile(temporary);
    file->write(std::as_bytes(std::span(bytes)));
    file->close();
    platform.files.rename(temporary, place);
}

Picture scaledDown(const Picture& picture, int longestSide) {
    const int longer = std::max(picture.width, picture.height);
    if (longer <= longestSide) return picture;
    const auto side = [&](int length) {
        return std::max(1,
                        static_cast<int>(static_cast<std::int64_t>(length) * longestSide / longer));
    };
    Picture small{side(picture.width), side(picture.height), {}};
    small.pixels.reserve(static_cast<std::size_t>(small.width) *
                         static_cast<std::size_t>(small.height) * 3);
    for (int y = 0; y < small.height; ++y) {
        const int top = partStart(picture.height, y, small.height);
        const int bottom = partStart(picture.height, y + 1, small.height);
        for (int x = 0; x < small.width; ++x) {
            const auto mean = meanOf(picture, partStart(picture.width, x, small.width), top,
                                     partStart(picture.width, x + 1, small.width), bottom);
            small.pixels.insert(small.pixels.end(), mean.begin(), mean.end());
        }
    }
    return small;
}

}  // namespace nookery
