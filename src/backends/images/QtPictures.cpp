#include "backends/images/QtPictures.h"

#include <QBuffer>
#include <QPainter>
#include <cstring>

namespace nookery {
namespace {

QImage overWhite(const QImage& image) {
    if (!image.hasAlphaChannel()) return image.convertToFormat(QImage::Format_RGB888);
    QImage paper(image.size(), QImage::Format_RGB888);
    paper.fill(Qt::white);
    QPainter(&paper).drawImage(0, 0, image);
    return paper;
}

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

Picture pictureFrom(const QImage& image) {
    const QImage rgb = overWhite(image);
    Picture picture{rgb.width(), rgb.height(), {}};
    const std::size_t rowByteCount = 3 * static_cast<std::size_t>(rgb.width());
    picture.pixels.resize(rowByteCount * static_cast<std::size_t>(rgb.height()));
    for (int row = 0; row < rgb.height(); ++row) {
        std::memcpy(picture.pixels.data() + rowByteCount * static_cast<std::size_t>(row),
                    rgb.constScanLine(row), rowByteCount);
    }
    return picture;
}

std::unique_ptr<PictureEncoder> makePictureEncoder() { return std::make_unique<JpegEncoder>(); }

}  // namespace nookery
