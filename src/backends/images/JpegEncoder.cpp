#include "backends/images/JpegEncoder.h"

#include <QBuffer>
#include <QImage>

namespace nookery {
namespace {

constexpr int quality = 82;

class JpegEncoder final : public PictureEncoder {
  public:
    std::string jpeg(const Picture& picture) const override {
        const QImage image(picture.pixels.data(), picture.width, picture.height, 3 * picture.width,
                           QImage::Format_RGB888);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        if (!image.save(&buffer, "JPEG", quality)) {
            throw Error("The picture cannot be written as JPEG.");
        }
        return bytes.toStdString();
    }
};

}  // namespace

std::unique_ptr<PictureEncoder> makePictureEncoder() { return std::make_unique<JpegEncoder>(); }

}  // namespace nookery
