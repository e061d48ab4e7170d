#include "backends/images/ImageFiles.h"

#include <gtest/gtest.h>
#include <libheif/heif.h>

#include <QBuffer>
#include <QImage>
#include <algorithm>
#include <map>

#include "backends/BothWays.h"
#include "backends/documents/PdfPages.h"
#include "backends/images/CameraFacts.h"
#include "backends/pdf/QtPdfWriter.h"
#include "foundation/DurableFile.h"
#include "support/TemporaryDirectory.h"

namespace nookery {
namespace {

/// Red in the left half, blue in the right.
QImage twoColours(int width, int height) {
    QImage image(width, height, QImage::Format_RGB888);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            image.setPixelColor(x, y, x < width / 2 ? Qt::red : Qt::blue);
        }
    }
    return image;
}

std::string encoded(const QImage& image, const char* format) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, format)) << format;
    return buffer.data().toStdString();
}

std::string encodedByHeif(const QImage& image, heif_compression_format format) {
    heif_context* context = heif_context_alloc();
    heif_encoder* encoder = nullptr;
    heif_image* picture = nullptr;
    EXPECT_EQ(heif_context_get_encoder_for_format(context, format, &encoder).code, heif_error_Ok);
    heif_image_create(image.width(), image.height(), heif_colorspace_RGB,
                      heif_chroma_interleaved_RGB, &picture);
    heif_image_add_plane(picture, heif_channel_interleaved, image.width(), image.height(), 24);
    int stride = 0;
    std::uint8_t* plane = heif_image_get_plane(picture, heif_channel_interleaved, &stride);
    for (int y = 0; y < image.height(); ++y) {
        std::copy_n(image.constScanLine(y), 3 * image.width(), plane + y * stride);
    }
    EXPECT_EQ(heif_context_encode_image(context, picture, encoder, nullptr, nullptr).code,
              heif_error_Ok);
    std::string bytes;
    heif_writer writer{1, [](heif_context*, const void* data, std::size_t size, void* target) {
                           static_cast<std::string*>(target)->assign(static_cast<const char*>(data),
                                                                     size);
                           return heif_error{heif_error_Ok, heif_suberror_Unspecified, ""};
                       }};
    heif_context_write(context, &writer, &bytes);
    heif_image_release(picture);
    heif_encoder_release(encoder);
    heif_context_free(context);
    return bytes;
}

std::string bigEndian(std::uint32_t number, int byteCount) {
    std::string bytes;
    while (byteCount-- > 0) bytes += static_cast<char>(number >> 8 * byteCount);
    return bytes;
}

std::string field(int tag, int type, std::uint32_t count, const std::string& value) {
    return bigEndian(static_cast<std::uint32_t>(tag), 2) +
           bigEndian(static_cast<std::uint32_t>(type), 2) + bigEndian(count, 4) + value;
}

/// A TIFF directory at byte `at`: the other fields, by tag, and a camera's: quarter turn, model,
/// the times of change and of taking, and a place in the south-west.
std::string cameraFields(std::uint32_t at, std::map<int, std::string> fields) {
    const std::uint32_t texts = at + 2 + 12 * (static_cast<std::uint32_t>(fields.size()) + 6) + 4;
    const std::uint32_t place = texts + 40;
    const std::uint32_t original = place + 102;
    fields[0x10f] = field(0x10f, 2, 5, bigEndian(texts, 4));
    fields[0x110] = field(0x110, 2, 9, bigEndian(texts + 5, 4));
    fields[0x112] = field(0x112, 3, 1, bigEndian(6, 2) + bigEndian(0, 2));
    fields[0x132] = field(0x132, 2, 20, bigEndian(texts + 14, 4));
    fields[0x8769] = field(0x8769, 4, 1, bigEndian(original, 4));
    fields[0x8825] = field(0x8825, 4, 1, bigEndian(place, 4));
    std::string tiff = bigEndian(static_cast<std::uint32_t>(fields.size()), 2);
    for (const auto& [tag, bytes] : fields) tiff += bytes;
    tiff += bigEndian(0, 4);
    tiff += std::string("Acme\0", 5) + std::string("Acme One\0", 9) +
            std::string("2026:04:02 10:00:00\0", 20) + std::string(6, '\0');
    tiff += bigEndian(4, 2) + field(1, 2, 2, std::string("S\0\0\0", 4));
    tiff += field(2, 5, 3, bigEndian(place + 54, 4));
    tiff += field(3, 2, 2, std::string("W\0\0\0", 4));
    tiff += field(4, 5, 3, bigEndian(place + 78, 4)) + bigEndian(0, 4);
    for (const std::uint32_t number : {33u, 1u, 30u, 1u, 0u, 1u, 70u, 1u, 15u, 1u, 36u, 1u}) {
        tiff += bigEndian(number, 4);
    }
    tiff += bigEndian(1, 2) + field(0x9003, 2, 20, bigEndian(original + 18, 4)) + bigEndian(0, 4);
    return tiff + std::string("2026:03:01 09:30:00\0", 20);
}

std::string tiffHead(std::uint32_t directory) {
    return "MM" + bigEndian(42, 2) + bigEndian(directory, 4);
}

std::string cameraFacts() { return tiffHead(8) + cameraFields(8, {}); }

std::string withExif(const std::string& jpeg, const std::string& block) {
    const std::string body = std::string("Exif\0\0", 6) + block;
    return jpeg.substr(0, 2) + "\xFF\xE1" +
           bigEndian(static_cast<std::uint32_t>(body.size() + 2), 2) + body + jpeg.substr(2);
}

/// A white picture of 512 x 256 points. Its fields, one of which nobody knows, come after them:
/// beyond the first 64 kB.
std::string tiffWithCameraFacts() {
    constexpr std::uint32_t pixelCount = 512 * 256;
    const auto number = [](int tag, std::uint32_t value) {
        return std::pair(tag, field(tag, 4, 1, bigEndian(value, 4)));
    };
    const auto shortNumber = [](int tag, std::uint32_t value) {
        return std::pair(tag, field(tag, 3, 1, bigEndian(value, 2) + bigEndian(0, 2)));
    };
    return tiffHead(8 + pixelCount) + std::string(pixelCount, '\xFF') +
           cameraFields(8 + pixelCount,
                        {number(0x100, 512), number(0x101, 256), shortNumber(0x102, 8),
                         shortNumber(0x103, 1), shortNumber(0x106, 1), number(0x111, 8),
                         shortNumber(0x115, 1), number(0x116, 256), number(0x117, pixelCount),
                         number(0xF000, 1)});
}

/// Damaged in every way that one byte can be, cut at every length, and pointing in circles.
std::vector<std::string> hostile(const std::string& tiff, std::size_t from) {
    std::vector<std::string> all;
    for (std::size_t at = from; at < tiff.size(); ++at) {
        all.push_back(tiff.substr(0, at));
        for (const char byte : {'\0', '\x08', '\x7F', '\xFF'}) {
            all.push_back(std::string(tiff).replace(at, 1, 1, byte));
        }
    }
    std::string circles = tiffHead(8) + bigEndian(3000, 2);
    for (int i = 0; i < 1000; ++i) {
        for (const int directory : {0x8769, 0x8825, 0xA005}) {
            circles += field(directory, 4, 1, bigEndian(8, 4));
        }
    }
    all.push_back(circles + bigEndian(8, 4));
    return all;
}

std::uint32_t checksum(std::string_view bytes) {
    std::uint32_t sum = ~0u;
    for (const char byte : bytes) {
        sum ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum & 1 ? 0xedb88320u : 0);
    }
    return ~sum;
}

/// Only a head: a picture of the given size, whose points never come.
std::string pngHead(std::uint32_t width, std::uint32_t height) {
    const std::string body =
        "IHDR" + bigEndian(width, 4) + bigEndian(height, 4) + std::string("\x08\x02\0\0\0", 5);
    const std::string data = std::string("IDAT") + std::string(200, '\0');
    return "\x89PNG\r\n\x1A\n" + bigEndian(13, 4) + body + bigEndian(checksum(body), 4) +
           bigEndian(200, 4) + data + bigEndian(checksum(data), 4);
}

class ImageFilesTest : public ::testing::TestWithParam<testing::Way> {
  protected:
    Path write(const std::string& bytes) {
        folder.write("picture", bytes);
        return folder / "picture";
    }
    Picture read(const std::string& bytes, const char* type, int longestSide = 10'000,
                 const ImageLimits& limits = {}) {
        return reader->read(write(bytes), {type}, longestSide, limits, {});
    }

    testing::TemporaryDirectory folder;
    std::unique_ptr<FileSystem> files = makePosixFileSystem();
    std::unique_ptr<ImageReader> reader = GetParam() == testing::Way::direct
                                              ? makeImageReader(*files)
                                              : makeIsolatedImages(testing::testReaders());
};
NOOKERY_BOTH_WAYS(ImageFilesTest);

enum class Colour { red, blue, other };
Colour colourAt(const Picture& picture, int x, int y) {
    const std::uint8_t* pixel = picture.pixels.data() + 3 * (y * picture.width + x);
    if (pixel[0] > 180 && pixel[2] < 90) return Colour::red;
    return pixel[2] > 180 && pixel[0] < 90 ? Colour::blue : Colour::other;
}

TEST_P(ImageFilesTest, EveryFormatIsReadAndScaledDownWhileReading) {
    const QImage image = twoColours(640, 320);
    const std::vector<std::pair<const char*, std::string>> cases{
        {"image/jpeg", encoded(image, "jpeg")},
        {"image/png", encoded(image, "png")},
        {"image/webp", encoded(image, "webp")},
        {"image/tiff", encoded(image, "tiff")},
        {"image/bmp", encoded(image, "bmp")},
        {"image/heic", encodedByHeif(image, heif_compression_HEVC)},
        {"image/avif", encodedByHeif(image, heif_compression_AV1)}};
    for (const auto& [type, bytes] : cases) {
        ASSERT_TRUE(reader->canRead({type})) << type;
        for (const int longestSide : {640, 160}) {
            const Picture picture = read(bytes, type, longestSide);
            EXPECT_EQ(picture.width, longestSide) << type;
            EXPECT_EQ(picture.height, longestSide / 2) << type;
            EXPECT_EQ(colourAt(picture, longestSide / 8, 40), Colour::red) << type;
            EXPECT_EQ(colourAt(picture, longestSide * 7 / 8, 40), Colour::blue) << type;
        }
    }
    EXPECT_FALSE(reader->canRead({"image/svg+xml"}));
}

TEST_P(ImageFilesTest, StandUprightAndTellWhatTheCameraWrote) {
    const std::string jpeg = withExif(encoded(twoColours(64, 32), "jpeg"), cameraFacts());
    // A quarter turn to the right brings the left side up.
    const Picture picture = read(jpeg, "image/jpeg");
    ASSERT_EQ(picture.width, 32);
    ASSERT_EQ(picture.height, 64);
    EXPECT_EQ(colourAt(picture, 16, 8), Colour::red);
    EXPECT_EQ(colourAt(picture, 16, 56), Colour::blue);
    const std::vector<std::tuple<const char*, std::string, int>> cases{
        {"image/jpeg", jpeg, 32}, {"image/tiff", tiffWithCameraFacts(), 256}};
    ::testing::internal::CaptureStderr();
    for (const auto& [type, bytes, width] : cases) {
        const ImageFacts facts = reader->facts(write(bytes), {type}, {});
        EXPECT_EQ(facts.width, width);
        EXPECT_EQ(facts.camera, "Acme One");
        ASSERT_TRUE(facts.taken) << type;
        EXPECT_EQ(facts.taken->hour, 9);
        EXPECT_EQ(facts.taken->day, 1);
        ASSERT_TRUE(facts.position) << type;
        EXPECT_DOUBLE_EQ(facts.position->latitude, -33.5);
        EXPECT_DOUBLE_EQ(facts.position->longitude, -70.26);
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(CameraFacts, HostileFieldsGiveFewFactsAndNoError) {
    ::testing::internal::CaptureStderr();
    for (const std::string& block : hostile(cameraFacts(), 0)) {
        EXPECT_LE(cameraFactsInExif(block).camera.size(), 400u);
    }
    for (const std::string& file : hostile(tiffWithCameraFacts(), 8 + 512 * 256)) {
        EXPECT_LE(cameraFactsInTiff(file).camera.size(), 400u);
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    const std::string noDate = tiffHead(8) + bigEndian(1, 2) +
                               field(0x112, 3, 1, bigEndian(1, 2) + bigEndian(0, 2)) +
                               bigEndian(0, 4);
    EXPECT_FALSE(cameraFactsInExif(noDate).taken) << "a date that no camera wrote";
}

TEST_P(ImageFilesTest, TransparentPartsAreWhite) {
    QImage clear(4, 4, QImage::Format_ARGB32);
    clear.fill(Qt::transparent);
    const Picture picture = read(encoded(clear, "png"), "image/png");
    EXPECT_EQ(std::count(picture.pixels.begin(), picture.pixels.end(), 255), 48);
}

TEST_P(ImageFilesTest, HostilePicturesAreOneError) {
    const std::string png = encoded(twoColours(64, 32), "png");
    const std::string heic = encodedByHeif(twoColours(64, 64), heif_compression_HEVC);
    const std::vector<std::pair<const char*, std::string>> cases{
        {"image/png", ""},
        {"image/png", "\x89PNG\r\n\x1A\n"},
        {"image/png", png.substr(0, 40)},
        {"image/png", std::string(png).replace(png.size() / 2, 8, 8, 'x')},
        {"image/png", pngHead(20'000, 10'000)},
        {"image/png", pngHead(0x7fffffff, 0x7fffffff)},
        {"image/jpeg", "\xFF\xD8\xFF\xE0"},
        {"image/jpeg", png},
        {"image/tiff", "II*"},
        {"image/webp", "RIFF....WEBPVP8 "},
        {"image/heic", heic.substr(0, heic.size() / 2)},
        {"image/heic", png}};
    ::testing::internal::CaptureStderr();
    for (const auto& [type, bytes] : cases) {
        EXPECT_THROW(read(bytes, type), ImageError) << type << " " << bytes.size();
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "") << "one error, and no other's words";
    EXPECT_THROW(read(png, "image/png", 100, {.maximumFileByteCount = 10}), ImageError);
    EXPECT_THROW(read(png, "image/png", 100, {.maximumPixelCount = 2000}), ImageError);
    EXPECT_THROW(read(png, "image/png", 100, {.maximumDecodedByteCount = 8000}), ImageError);
}

TEST_P(ImageFilesTest, APhotoThatWasCopiedInPartShowsThatPart) {
    QImage image(640, 640, QImage::Format_RGB888);
    for (int y = 0; y < 640; ++y) {
        for (int x = 0; x < 640; ++x) image.setPixelColor(x, y, QColor(255, (x * y) % 60, 0));
    }
    const std::string jpeg = encoded(image, "jpeg");
    ::testing::internal::CaptureStderr();
    const Picture picture = read(jpeg.substr(0, jpeg.size() / 2), "image/jpeg");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(picture.height, 640);
    EXPECT_EQ(colourAt(picture, 320, 100), Colour::red);
    EXPECT_EQ(colourAt(picture, 320, 620), Colour::other);
}

TEST(PdfPages, ShowAPageOverWhite) {
    const testing::TemporaryDirectory folder;
    const auto files = makePosixFileSystem();
    const Path path = folder / "page.pdf";
    const auto writer = makePdfWriter();
    replaceDurably(*files, path, [&](WritableFile& target) {
        writer->write(target, {.title = "T"}, [](PdfCanvas&) {});
    });
    const auto pages = makePdfPages();
    ASSERT_EQ(pages->pageCount(path, {}), 1);
    const Picture picture = pages->render(path, 0, 500, {}, {});
    EXPECT_EQ(std::max(picture.width, picture.height), 500);
    EXPECT_EQ(std::count(picture.pixels.begin(), picture.pixels.end(), 255),
              static_cast<std::ptrdiff_t>(picture.pixels.size()));
    EXPECT_THROW(pages->render(path, 1, 500, {}, {}), DocumentError);
    folder.write("broken.pdf", folder.read("page.pdf").substr(0, 200));
    EXPECT_THROW(pages->render(folder / "broken.pdf", 0, 500, {}, {}), DocumentError);
    EXPECT_THROW(pages->render(folder / "gone.pdf", 0, 500, {}, {}), FileError);
}

}  // namespace
}  // namespace nookery
