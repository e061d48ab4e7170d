#include "backends/images/ImageFiles.h"

#include <fmt/format.h>
#include <tiffio.h>

#include <QBuffer>
#include <QImageReader>
#include <QLoggingCategory>
#include <QTransform>
#include <algorithm>
#include <array>
#include <cerrno>

#include "backends/images/CameraFacts.h"
#include "backends/images/HeifImages.h"
#include "backends/images/ImageContainers.h"
#include "backends/images/PngImages.h"
#include "backends/images/QtPictures.h"

namespace nookery {
namespace {

/// A media type and the name of the Qt plugin that reads it. Formats that run scripts or fetch
/// other files are not among them.
struct Format {
    std::string_view mediaType;
    const char* plugin;
};
constexpr std::array formats{Format{"image/jpeg", "jpeg"},
                             Format{"image/webp", "webp"},
                             Format{"image/tiff", "tiff"},
                             Format{"image/gif", "gif"},
                             Format{"image/bmp", "bmp"},
                             Format{"image/x-ms-bmp", "bmp"},
                             Format{"image/vnd.microsoft.icon", "ico"},
                             Format{"image/x-icon", "ico"},
                             Format{"image/x-tga", "tga"},
                             Format{"image/x-portable-bitmap", "pbm"},
                             Format{"image/x-portable-greymap", "pgm"},
                             Format{"image/x-portable-pixmap", "ppm"}};

constexpr std::size_t bytesPerPixel = 4;

bool isHeif(const ContentType& type) {
    return type.mediaType == "image/heic" || type.mediaType == "image/heif" ||
           type.mediaType == "image/avif";
}

bool isPng(const ContentType& type) { return type.mediaType == "image/png"; }

const char* pluginFor(const ContentType& type) {
    const auto format = std::find_if(formats.begin(), formats.end(), [&type](const Format& known) {
        return known.mediaType == type.mediaType;
    });
    return format == formats.end() ? nullptr : format->plugin;
}

QImage upright(const QImage& image, Orientation orientation) {
    const auto turned = [](const QImage& picture, int degrees) {
        return picture.transformed(QTransform().rotate(degrees));
    };
    switch (orientation) {
        case Orientation::upright:
            return image;
        case Orientation::mirrored:
            return image.mirrored(true, false);
        case Orientation::upsideDown:
            return image.mirrored(true, true);
        case Orientation::mirroredUpsideDown:
            return image.mirrored(false, true);
        case Orientation::mirroredLeft:
            return turned(image.mirrored(true, false), 270);
        case Orientation::turnRight:
            return turned(image, 90);
        case Orientation::mirroredRight:
            return turned(image.mirrored(true, false), 90);
        case Orientation::turnLeft:
            return turned(image, 270);
    }
    return image;
}

QSize scaledDown(QSize size, int longestSide) {
    if (std::max(size.width(), size.height()) <= longestSide) return size;
    return size.scaled(longestSide, longestSide, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
}

/// Refers to the file's bytes.
struct OpenedPicture {
    OpenedPicture(std::string_view file, const char* plugin)
        : bytes(QByteArray::fromRawData(file.data(), static_cast<qsizetype>(file.size()))),
          buffer(&bytes),
          reader(&buffer, plugin) {
        reader.setAutoDetectImageFormat(false);
    }

    QByteArray bytes;
    QBuffer buffer;
    QImageReader reader;
};

/// One picture file, wholly in memory, and what its head says.
class ImageFile {
  public:
    ImageFile(FileSystem& files, const Path& path, const ContentType& type,
              const ImageLimits& limits)
        : name_("\"" + displayName(path.filename()) + "\""),
          type_(type),
          plugin_(pluginFor(type)),
          limits_(limits) {
        bytes_ = read(files, path);
        if (bytes_.empty()) throw ImageError(name_ + " is empty.");
        readHead();
        const std::size_t pixelCount =
            static_cast<std::size_t>(stored_.width()) * static_cast<std::size_t>(stored_.height());
        if (pixelCount > limits_.maximumPixelCount) failTooLarge();
    }

    ImageFacts facts() const {
        const QSize shown = swapsSides(camera_.orientation) ? stored_.transposed() : stored_;
        return {shown.width(), shown.height(), camera_.camera, camera_.taken, camera_.position};
    }

    Picture decode(int longestSide, const std::stop_token& stop) const {
        const QSize wanted = scaledDown(stored_, longestSide);
        checkUnpackedSize(wanted);
        QImage image = decoded(wanted, stop);
        if (stop.stop_requested()) throw Cancelled();
        const QSize fitting = scaledDown(image.size(), longestSide);
        if (image.size() != fitting) {
            image = image.scaled(fitting, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        }
        return pictureFrom(upright(image, camera_.orientation));
    }

  private:
    std::string read(FileSystem& files, const Path& path) const {
        try {
            return readWholeFile(files, path, limits_.maximumFileByteCount);
        } catch (const FileError& error) {
            if (error.errorNumber() != EFBIG) throw;
            throw ImageError(
                fmt::format("{} is larger than the {} MB up to which pictures are read.", name_,
                            limits_.maximumFileByteCount >> 20));
        }
    }

    void readHead() {
        if (isHeif(type_)) {
            HeifHead head = heifHead(bytes_, name_);
            stored_ = QSize(head.width, head.height);
            camera_ = cameraFactsInExif(head.exif);
            camera_.orientation = Orientation::upright;  // libheif has turned it
            return;
        }
        stored_ =
            isPng(type_) ? pngSize(bytes_, name_) : OpenedPicture(bytes_, plugin_).reader.size();
        if (stored_.isEmpty()) failDamaged();
        camera_ = cameraFacts();
    }

    CameraFacts cameraFacts() const {
        if (type_.mediaType == "image/jpeg") return cameraFactsInExif(exifInJpeg(bytes_));
        if (isPng(type_)) return cameraFactsInExif(exifInPng(bytes_));
        if (type_.mediaType == "image/webp") return cameraFactsInExif(exifInWebp(bytes_));
        if (type_.mediaType == "image/tiff") return cameraFactsInTiff(bytes_);
        return {};
    }

    void checkUnpackedSize(QSize wanted) const {
        const bool scalesWhileReading =
            type_.mediaType == "image/jpeg" && !isProgressiveJpeg(bytes_);
        const QSize unpacked = scalesWhileReading ? wanted : stored_;
        const std::size_t byteCount = bytesPerPixel * static_cast<std::size_t>(unpacked.width()) *
                                      static_cast<std::size_t>(unpacked.height());
        if (byteCount > limits_.maximumDecodedByteCount) failTooLarge();
    }

    QImage decoded(QSize wanted, const std::stop_token& stop) const {
        if (isHeif(type_)) return decodeHeif(bytes_, name_, stop);
        return isPng(type_) ? decodePng(bytes_, name_) : decodeByPlugin(wanted);
    }

    QImage decodeByPlugin(QSize wanted) const {
        OpenedPicture opened(bytes_, plugin_);
        if (wanted != stored_) opened.reader.setScaledSize(wanted);
        QImage image = opened.reader.read();
        if (image.isNull()) failDamaged();
        return image;
    }

    [[noreturn]] void failTooLarge() const {
        throw ImageError(fmt::format("{} is too large to be opened: {} x {} pixels.", name_,
                                     stored_.width(), stored_.height()));
    }
    [[noreturn]] void failDamaged() const {
        throw ImageError(name_ + " cannot be read as a picture: it is damaged.");
    }

    std::string name_;
    ContentType type_;
    const char* plugin_;  ///< null for what Qt does not read
    const ImageLimits& limits_;
    std::string bytes_;
    QSize stored_;
    CameraFacts camera_;
};

class ImageFiles final : public ImageReader {
  public:
    explicit ImageFiles(FileSystem& files) : files_(files) {
        // Each read has its own limits.
        QImageReader::setAllocationLimit(0);
        QLoggingCategory::setFilterRules("qt.gui.imageio*=false\nqt.imageformats*=false");
        // Qt's plugin lets libtiff print what it finds odd in a file.
        TIFFSetErrorHandler(nullptr);
        TIFFSetWarningHandler(nullptr);
    }

    bool canRead(const ContentType& type) const override {
        return isHeif(type) || isPng(type) || pluginFor(type) != nullptr;
    }

    Picture read(const Path& path, const ContentType& type, int longestSide,
                 const ImageLimits& limits, std::stop_token stop) const override {
        const ImageFile file(files_, path, type, limits);
        if (stop.stop_requested()) throw Cancelled();
        return file.decode(longestSide, stop);
    }

    ImageFacts facts(const Path& path, const ContentType& type,
                     const ImageLimits& limits) const override {
        return ImageFile(files_, path, type, limits).facts();
    }

  private:
    FileSystem& files_;
};

}  // namespace

std::unique_ptr<ImageReader> makeImageReader(FileSystem& files) {
    return std::make_unique<ImageFiles>(files);
}

}  // namespace nookery
