#include "backends/images/QtPictures.h"

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

}  // namespace nookery
