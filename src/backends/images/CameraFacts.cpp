#include "backends/images/CameraFacts.h"

#include <libexif/exif-data.h>
#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::size_t maximumTextByteCount = 200;

/// A picture's fields as they stand in the file.
struct CameraFields {
    std::string maker;
    std::string model;
    std::uint32_t orientation = 0;
    std::string taken;
    std::string changed;
    std::string latitudeSide;
    std::string longitudeSide;
    std::optional<double> latitude;
    std::optional<double> longitude;
};

/// Up to the first NUL, as UTF-8; empty when it is longer than any camera writes.
std::string textFrom(std::string_view bytes) {
    if (bytes.size() > maximumTextByteCount) return {};
    return std::string(trimmed(toValidUtf8(bytes.substr(0, bytes.find('\0')))));
}

/// "2026:03:01 09:30:00"; cameras that were never set write zeros or spaces.
std::optional<CalendarFields> momentFrom(std::string text) {
    if (text.size() != 19 || text[4] != ':' || text[7] != ':') return std::nullopt;
    text[4] = '-';
    text[7] = '-';
    const auto date = parseIso8601(text);
    return date ? std::optional(utcFields(*date)) : std::nullopt;
}

/// Many models begin with their maker's name.
std::string cameraFrom(const std::string& maker, const std::string& model) {
    if (maker.empty() || lowerCased(model).starts_with(lowerCased(maker))) return model;
    return model.empty() ? maker : maker + " " + model;
}

/// None without the sides: a place on the wrong half of the earth would be worse.
std::optional<GeoPosition> positionFrom(const CameraFields& fields) {
    const auto signOf = [](std::string_view side, std::string_view positive,
                           std::string_view negative) {
        return side == positive ? 1 : side == negative ? -1 : 0;
    };
    const int north = signOf(fields.latitudeSide, "N", "S");
    const int east = signOf(fields.longitudeSide, "E", "W");
    if (north == 0 || east == 0 || !fields.latitude || !fields.longitude) return std::nullopt;
    const double latitude = *fields.latitude;
    const double longitude = *fields.longitude;
    const bool isOnEarth = latitude >= 0 && latitude <= 90 && longitude >= 0 && longitude <= 180;
    // A device without a fix writes zeros. They name a spot in the open sea.
    if (!isOnEarth || (latitude == 0 && longitude == 0)) return std::nullopt;
    return GeoPosition{north * latitude, east * longitude};
}

CameraFacts factsFrom(const CameraFields& fields) {
    CameraFacts facts;
    if (fields.orientation >= 1 && fields.orientation <= 8) {
        facts.orientation = Orientation(fields.orientation);
    }
    facts.camera = cameraFrom(fields.maker, fields.model);
    facts.taken = momentFrom(fields.taken);
    if (!facts.taken) facts.taken = momentFrom(fields.changed);
    facts.position = positionFrom(fields);
    return facts;
}

double degreesFrom(const std::array<double, 3>& degreesMinutesSeconds) {
    const auto [degrees, minutes, seconds] = degreesMinutesSeconds;
    return degrees + minutes / 60 + seconds / 3600;
}

/// A camera writes three pointers to further directories; a few more may stand by chance among
/// other bytes. Where hundreds lead in circles, libexif 0.6.24 follows them for minutes.
bool holdsTooManyPointers(std::string_view block) {
    constexpr std::size_t maximumPointerCount = 16;
    using Tags = std::array<std::string_view, 3>;
    const Tags tags = block.starts_with("II") ? Tags{"\x69\x87", "\x25\x88", "\x05\xA0"}
                                              : Tags{"\x87\x69", "\x88\x25", "\xA0\x05"};
    std::size_t count = 0;
    for (const std::string_view tag : tags) {
        for (std::size_t at = block.find(tag); at != block.npos; at = block.find(tag, at + 1)) {
            ++count;
        }
    }
    return count > maximumPointerCount;
}

/// An EXIF block as libexif has read it. Without a log, libexif prints nothing.
class ExifFields {
  public:
    explicit ExifFields(std::string_view block) : data_(exif_data_new(), &exif_data_unref) {
        if (!data_) throw std::bad_alloc();
        // Otherwise libexif makes up fields that are missing: it sets the date to now.
        exif_data_unset_option(data_.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
        exif_data_set_option(data_.get(), EXIF_DATA_OPTION_IGNORE_UNKNOWN_TAGS);
        const std::string marked = std::string("Exif\0\0", 6).append(block);
        exif_data_load_data(data_.get(), reinterpret_cast<const unsigned char*>(marked.data()),
                            static_cast<unsigned>(marked.size()));
    }

    std::string text(ExifIfd directory, int tag) const {
        const ExifEntry* entry = find(directory, tag, EXIF_FORMAT_ASCII);
        if (entry == nullptr) return {};
        return textFrom({reinterpret_cast<const char*>(entry->data), entry->size});
    }

    std::uint32_t number(ExifIfd directory, int tag) const {
        if (const ExifEntry* entry = find(directory, tag, EXIF_FORMAT_SHORT)) {
            return exif_get_short(entry->data, order());
        }
        const ExifEntry* entry = find(directory, tag, EXIF_FORMAT_LONG);
        return entry == nullptr ? 0 : exif_get_long(entry->data, order());
    }

    std::optional<double> degrees(int tag) const {
        const ExifEntry* entry = find(EXIF_IFD_GPS, tag, EXIF_FORMAT_RATIONAL);
        if (entry == nullptr || entry->components != 3) return std::nullopt;
        std::array<double, 3> values{};
        for (std::size_t i = 0; i < values.size(); ++i) {
            const ExifRational value = exif_get_rational(entry->data + 8 * i, order());
            if (value.denominator == 0) return std::nullopt;
            values[i] = static_cast<double>(value.numerator) / value.denominator;
        }
        return degreesFrom(values);
    }

  private:
    /// Null when there is none with a value of that format.
    const ExifEntry* find(ExifIfd directory, int tag, ExifFormat format) const {
        const ExifEntry* entry =
            exif_content_get_entry(data_->ifd[directory], static_cast<ExifTag>(tag));
        if (entry == nullptr || entry->format != format || entry->components < 1) return nullptr;
        return entry->size < exif_format_get_size(format) * entry->components ? nullptr : entry;
    }
    ExifByteOrder order() const { return exif_data_get_byte_order(data_.get()); }

    std::unique_ptr<ExifData, void (*)(ExifData*)> data_;
};

/// A TIFF file in memory, for libtiff to read. Fields may claim the same bytes again and again:
/// what is read, and so the memory taken, ends with `readable`.
struct TiffBytes {
    std::string_view bytes;
    std::size_t at = 0;
    std::size_t readable = std::size_t{64} << 20;
};

tmsize_t readTiff(thandle_t handle, void* buffer, tmsize_t byteCount) {
    auto& file = *static_cast<TiffBytes*>(handle);
    if (byteCount < 0 || file.at > file.bytes.size()) return 0;
    const std::string_view piece =
        file.bytes.substr(file.at, std::min(static_cast<std::size_t>(byteCount), file.readable));
    std::memcpy(buffer, piece.data(), piece.size());
    file.at += piece.size();
    file.readable -= piece.size();
    return static_cast<tmsize_t>(piece.size());
}

tmsize_t refuseToWrite(thandle_t, void*, tmsize_t) { return 0; }

toff_t seekTiff(thandle_t handle, toff_t offset, int from) {
    auto& file = *static_cast<TiffBytes*>(handle);
    const std::size_t start = from == SEEK_CUR ? file.at : from == SEEK_END ? file.bytes.size() : 0;
    file.at = start + offset;
    return file.at;
}

int closeTiff(thandle_t) { return 0; }
toff_t tiffByteCount(thandle_t handle) { return static_cast<TiffBytes*>(handle)->bytes.size(); }
int printNothing(TIFF*, void*, const char*, const char*, va_list) { return 1; }

using OpenTiff = std::unique_ptr<TIFF, void (*)(TIFF*)>;

/// Stands at the file's first picture; null when there is none. `file` outlives it.
OpenTiff openTiff(TiffBytes& file) {
    const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(
        TIFFOpenOptionsAlloc(), &TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), &printNothing, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), &printNothing, nullptr);
    return {TIFFClientOpenExt("", "rm", &file, &readTiff, &refuseToWrite, &seekTiff, &closeTiff,
                              &tiffByteCount, nullptr, nullptr, options.get()),
            &TIFFClose};
}

std::string tiffText(TIFF* tiff, std::uint32_t tag) {
    const char* text = nullptr;
    if (TIFFGetField(tiff, tag, &text) != 1 || text == nullptr) return {};
    return textFrom(text);
}

std::optional<double> tiffDegrees(TIFF* tiff, std::uint32_t tag) {
    const double* values = nullptr;
    if (TIFFGetField(tiff, tag, &values) != 1 || values == nullptr) return std::nullopt;
    return degreesFrom({values[0], values[1], values[2]});
}

}  // namespace

CameraFacts cameraFactsInExif(std::string_view block) {
    constexpr std::size_t maximumBlockByteCount = 0xfff0;
    block = block.substr(0, maximumBlockByteCount);
    if (block.empty() || holdsTooManyPointers(block)) return {};
    const ExifFields exif(block);
    return factsFrom({.maker = exif.text(EXIF_IFD_0, EXIF_TAG_MAKE),
                      .model = exif.text(EXIF_IFD_0, EXIF_TAG_MODEL),
                      .orientation = exif.number(EXIF_IFD_0, EXIF_TAG_ORIENTATION),
                      .taken = exif.text(EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL),
                      .changed = exif.text(EXIF_IFD_0, EXIF_TAG_DATE_TIME),
                      .latitudeSide = exif.text(EXIF_IFD_GPS, EXIF_TAG_GPS_LATITUDE_REF),
                      .longitudeSide = exif.text(EXIF_IFD_GPS, EXIF_TAG_GPS_LONGITUDE_REF),
                      .latitude = exif.degrees(EXIF_TAG_GPS_LATITUDE),
                      .longitude = exif.degrees(EXIF_TAG_GPS_LONGITUDE)});
}

CameraFacts cameraFactsInTiff(std::string_view file) {
    TiffBytes bytes{file};
    const OpenTiff opened = openTiff(bytes);
    TIFF* const tiff = opened.get();
    if (tiff == nullptr) return {};
    CameraFields fields;
    fields.maker = tiffText(tiff, TIFFTAG_MAKE);
    fields.model = tiffText(tiff, TIFFTAG_MODEL);
    fields.changed = tiffText(tiff, TIFFTAG_DATETIME);
    std::uint16_t orientation = 0;
    if (TIFFGetField(tiff, TIFFTAG_ORIENTATION, &orientation) == 1) {
        fields.orientation = orientation;
    }
    toff_t exif = 0;
    toff_t gps = 0;
    TIFFGetField(tiff, TIFFTAG_EXIFIFD, &exif);
    TIFFGetField(tiff, TIFFTAG_GPSIFD, &gps);
    if (exif != 0 && TIFFReadEXIFDirectory(tiff, exif) == 1) {
        fields.taken = tiffText(tiff, EXIFTAG_DATETIMEORIGINAL);
    }
    if (gps != 0 && TIFFReadGPSDirectory(tiff, gps) == 1) {
        fields.latitudeSide = tiffText(tiff, GPSTAG_LATITUDEREF);
        fields.longitudeSide = tiffText(tiff, GPSTAG_LONGITUDEREF);
        fields.latitude = tiffDegrees(tiff, GPSTAG_LATITUDE);
        fields.longitude = tiffDegrees(tiff, GPSTAG_LONGITUDE);
    }
    return factsFrom(fields);
}

}  // namespace nookery
