#include "backends/images/PngImages.h"

#include <png.h>

#include "platform/ImageReader.h"

namespace nookery {
namespace {

/// Refers to the file's bytes.
class OpenPng {
  public:
    OpenPng(std::string_view file, const std::string& name) : name_(name) {
        image_.version = PNG_IMAGE_VERSION;
        check(png_image_begin_read_from_memory(&image_, file.data(), file.size()));
        // Pictures with 16 bits a colour are taken as sRGB too.
        image_.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
    }
    ~OpenPng() { png_image_free(&image_); }
    OpenPng(const OpenPng&) = delete;
    OpenPng& operator=(const OpenPng&) = delete;

    QSize size() const { return {static_cast<int>(image_.width), static_cast<int>(image_.height)}; }

    QImage decode() {
        const bool hasAlpha = (image_.format & PNG_FORMAT_FLAG_ALPHA) != 0;
        image_.format = hasAlpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
        QImage decoded(size(), hasAlpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
        if (decoded.isNull()) fail("there is no memory for it");
        check(png_image_finish_read(&image_, nullptr, decoded.bits(),
                                    static_cast<png_int_32>(decoded.bytesPerLine()), nullptr));
        return decoded;
    }

  private:
    void check(int succeeded) const {
        if (succeeded == 0) fail("it is damaged");
    }
    [[noreturn]] void fail(const char* how) const {
        throw ImageError(name_ + " cannot be read as a picture: " + how + ".");
    }

    const std::string& name_;
    png_image image_{};
};

}  // namespace

QSize pngSize(std::string_view file, const std::string& name) { return OpenPng(file, name).size(); }

QImage decodePng(std::string_view file, const std::string& name) {
    return OpenPng(file, name).decode();
}

}  // namespace nookery
