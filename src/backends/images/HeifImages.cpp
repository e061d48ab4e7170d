#include "backends/images/HeifImages.h"

#include <libheif/heif.h>

#include <memory>

namespace nookery {
namespace {

struct HeifRelease {
    void operator()(heif_context* context) const { heif_context_free(context); }
    void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }
    void operator()(heif_image* image) const { heif_image_release(image); }
};
template <class Thing>
using Heif = std::unique_ptr<Thing, HeifRelease>;

/// The bytes outlive the context.
struct OpenHeif {
    Heif<heif_context> context;
    Heif<heif_image_handle> picture;
};

void check(const heif_error& error, const std::string& name) {
    if (error.code == heif_error_Ok) return;
    throw ImageError(name + " cannot be read as a picture: " + error.message + ".");
}

OpenHeif open(std::string_view file, const std::string& name) {
    OpenHeif opened;
    opened.context.reset(heif_context_alloc());
    // The reader's own threads would compete with the program's.
    heif_context_set_max_decoding_threads(opened.context.get(), 0);
    check(heif_context_read_from_memory_without_copy(opened.context.get(), file.data(), file.size(),
                                                     nullptr),
          name);
    heif_image_handle* handle = nullptr;
    check(heif_context_get_primary_image_handle(opened.context.get(), &handle), name);
    opened.picture.reset(handle);
    return opened;
}

/// Four bytes before the block say where in it the TIFF structure begins.
std::string exifOf(const heif_image_handle* picture) {
    heif_item_id id = 0;
    if (heif_image_handle_get_list_of_metadata_block_IDs(picture, "Exif", &id, 1) < 1) return {};
    constexpr std::size_t maximumByteCount = std::size_t{16} << 20;
    const std::size_t byteCount = heif_image_handle_get_metadata_size(picture, id);
    if (byteCount < 4 || byteCount > maximumByteCount) return {};
    std::string block(byteCount, '\0');
    if (heif_image_handle_get_metadata(picture, id, block.data()).code != heif_error_Ok) return {};
    std::size_t start = 0;
    for (std::size_t i = 0; i < 4; ++i) start = start << 8 | static_cast<unsigned char>(block[i]);
    return start > byteCount - 4 ? std::string() : block.substr(4 + start);
}

}  // namespace

HeifHead heifHead(std::string_view file, const std::string& name) {
    const OpenHeif opened = open(file, name);
    return {heif_image_handle_get_width(opened.picture.get()),
            heif_image_handle_get_height(opened.picture.get()), exifOf(opened.picture.get())};
}

QImage decodeHeif(std::string_view file, const std::string& name, const std::stop_token& stop) {
    const OpenHeif opened = open(file, name);
    if (stop.stop_requested()) throw Cancelled();
    heif_image* decoded = nullptr;
    check(heif_decode_image(opened.picture.get(), &decoded, heif_colorspace_RGB,
                            heif_chroma_interleaved_RGBA, nullptr),
          name);
    const Heif<heif_image> image(decoded);
    int bytesPerRow = 0;
    const std::uint8_t* pixels =
        heif_image_get_plane_readonly(image.get(), heif_channel_interleaved, &bytesPerRow);
    const int width = heif_image_get_width(image.get(), heif_channel_interleaved);
    const int height = heif_image_get_height(image.get(), heif_channel_interleaved);
    if (pixels == nullptr) throw ImageError(name + " holds no picture.");
    return QImage(pixels, width, height, bytesPerRow, QImage::Format_RGBA8888).copy();
}

}  // namespace nookery
