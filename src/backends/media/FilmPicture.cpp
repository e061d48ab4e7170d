#include "backends/media/FilmPicture.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/display.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace nookery {
namespace {

struct Free {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

/// A film without a picture in this many packets is given up.
constexpr int mostPackets = 2000;

/// More than any film has: a damaged file's head may claim any size.
constexpr std::int64_t mostPixels = std::int64_t{64} << 20;

Owned<AVCodecContext> openDecoder(const AVStream& stream) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr) return nullptr;
    Owned<AVCodecContext> decoder(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), stream.codecpar) < 0) {
        return nullptr;
    }
    decoder->thread_count = 1;  // the callers' threads use the cores already
    decoder->max_pixels = mostPixels;
    return avcodec_open2(decoder.get(), codec, nullptr) < 0 ? nullptr : std::move(decoder);
}

bool decodes(AVCodecContext& decoder, const AVPacket* packet, AVFrame& frame) {
    return avcodec_send_packet(&decoder, packet) >= 0 &&
           avcodec_receive_frame(&decoder, &frame) >= 0;
}

/// The first picture from a tenth of the film on.
bool findFrame(const MediaFile& file, const AVStream& stream, AVCodecContext& decoder,
               AVFrame& frame) {
    if (file->duration > 0) {
        // A file that cannot be searched is read from its beginning.
        av_seek_frame(file.get(), -1, file->duration / 10, AVSEEK_FLAG_BACKWARD);
    }
    const Owned<AVPacket> packet(av_packet_alloc());
    for (int i = 0; i < mostPackets && av_read_frame(file.get(), packet.get()) >= 0; ++i) {
        const bool found =
            packet->stream_index == stream.index && decodes(decoder, packet.get(), frame);
        av_packet_unref(packet.get());
        if (found) return true;
    }
    return decodes(decoder, nullptr, frame);
}

Picture scaled(const AVFrame& frame, int longestSide) {
    const double factor =
        std::min(1.0, static_cast<double>(longestSide) / std::max(frame.width, frame.height));
    Picture picture;
    picture.width = std::max(1, static_cast<int>(std::lround(frame.width * factor)));
    picture.height = std::max(1, static_cast<int>(std::lround(frame.height * factor)));
    const Owned<SwsContext> scaler(sws_getContext(
        frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), picture.width,
        picture.height, AV_PIX_FMT_RGB24, SWS_AREA, nullptr, nullptr, nullptr));
    if (!scaler) return {};
    // The scaler may write a little past the end of a row.
    constexpr int slack = 64;
    const int stride = 3 * picture.width + slack;
    std::vector<std::uint8_t> rows(static_cast<std::size_t>(stride) *
                                   static_cast<std::size_t>(picture.height));
    std::uint8_t* const planes[] = {rows.data()};
    sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, &stride);
    for (int y = 0; y < picture.height; ++y) {
        const auto row = rows.begin() + static_cast<std::ptrdiff_t>(y) * stride;
        picture.pixels.insert(picture.pixels.end(), row, row + 3 * picture.width);
    }
    return picture;
}

Picture turnedClockwise(const Picture& picture) {
    Picture turned{picture.height, picture.width, {}};
    turned.pixels.reserve(picture.pixels.size());
    for (int y = 0; y < turned.height; ++y) {
        for (int x = 0; x < turned.width; ++x) {
            const auto place =
                3 * (static_cast<std::ptrdiff_t>(picture.height - 1 - x) * picture.width + y);
            const auto pixel = picture.pixels.begin() + place;
            turned.pixels.insert(turned.pixels.end(), pixel, pixel + 3);
        }
    }
    return turned;
}

}  // namespace

int quarterTurns(const AVStream& stream) {
    std::size_t byteCount = 0;
    const std::uint8_t* matrix =
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &byteCount);
    if (matrix == nullptr || byteCount < 9 * sizeof(std::int32_t)) return 0;
    const double degrees = av_display_rotation_get(reinterpret_cast<const std::int32_t*>(matrix));
    if (!std::isfinite(degrees)) return 0;
    return ((static_cast<int>(std::lround(-degrees / 90)) % 4) + 4) % 4;
}

Picture pictureOf(const MediaFile& file, const AVStream& stream, int longestSide) {
    const Owned<AVCodecContext> decoder = openDecoder(stream);
    const Owned<AVFrame> frame(av_frame_alloc());
    if (!decoder || !frame) return {};
    const bool isCover = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    const bool found = isCover ? decodes(*decoder, &stream.attached_pic, *frame) ||
                                     decodes(*decoder, nullptr, *frame)
                               : findFrame(file, stream, *decoder, *frame);
    if (!found || frame->width <= 0 || frame->height <= 0) return {};
    Picture picture = scaled(*frame, longestSide);
    for (int turns = quarterTurns(stream); turns > 0 && !picture.isEmpty(); --turns) {
        picture = turnedClockwise(picture);
    }
    return picture;
}

}  // namespace nookery
