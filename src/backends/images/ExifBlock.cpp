#include "backends/images/ExifBlock.h"

#include <cmath>
#include <cstdint>
#include <vector>

#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::size_t maximumTextByteCount = 200;

enum class Tag : std::uint16_t {
    maker = 0x010f,
    model = 0x0110,
    orientation = 0x0112,
    changed = 0x0132,
    exifFields = 0x8769,
    gpsFields = 0x8825,
    taken = 0x9003
};

enum class GpsTag : std::uint16_t {
    latitudeSide = 1,
    latitude = 2,
    longitudeSide = 3,
    longitude = 4
};

enum class FieldType : std::uint16_t { text = 2, number16 = 3, number32 = 4, fraction = 5 };

/// Numbers at places in the block; none where it ends before.
class TiffBytes {
  public:
    explicit TiffBytes(std::string_view bytes)
        : bytes_(bytes), littleEndian_(bytes.starts_with("II")) {}

    bool isTiff() const {
        return (littleEndian_ || bytes_.starts_with("MM")) && number(2, 2) == std::uint32_t{42};
    }

    std::optional<std::uint32_t> number(std::size_t at, std::size_t byteCount) const {
        const auto bytes = piece(at, byteCount);
        if (!bytes) return std::nullopt;
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < byteCount; ++i) {
            const std::size_t next = littleEndian_ ? byteCount - 1 - i : i;
            value = value << 8 | static_cast<unsigned char>((*bytes)[next]);
        }
        return value;
    }

    std::optional<std::string_view> piece(std::size_t at, std::size_t byteCount) const {
        if (at > bytes_.size() || byteCount > bytes_.size() - at) return std::nullopt;
        return bytes_.substr(at, byteCount);
    }

  private:
    std::string_view bytes_;
    bool littleEndian_;
};

/// One field of a directory: `place` is where its value begins.
struct Field {
    std::uint16_t tag = 0;
    FieldType type{};
    std::size_t count = 0;
    std::size_t place = 0;
};

std::size_t bytesOf(FieldType type) {
    switch (type) {
        case FieldType::text:
            return 1;
        case FieldType::number16:
            return 2;
        case FieldType::number32:
            return 4;
        case FieldType::fraction:
            return 8;
    }
    return 0;
}

std::vector<Field> fieldsAt(const TiffBytes& bytes, std::size_t directory) {
    std::vector<Field> fields;
    const std::size_t count = bytes.number(directory, 2).value_or(0);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = directory + 2 + 12 * i;
        const auto tag = bytes.number(at, 2);
        const auto type = bytes.number(at + 2, 2);
        const auto valueCount = bytes.number(at + 4, 4);
        const auto value = bytes.number(at + 8, 4);
        if (!tag || !type || !valueCount || !value) break;
        Field field{static_cast<std::uint16_t>(*tag), static_cast<FieldType>(*type), *valueCount,
                    at + 8};
        if (bytesOf(field.type) * field.count > 4) field.place = *value;
        fields.push_back(field);
    }
    return fields;
}

std::string textOf(const TiffBytes& bytes, const Field& field) {
    if (field.type != FieldType::text || field.count > maximumTextByteCount) return {};
    const std::string_view found = bytes.piece(field.place, field.count).value_or("");
    return std::string(trimmed(toValidUtf8(found.substr(0, found.find('\0')))));
}

std::optional<std::uint32_t> numberOf(const TiffBytes& bytes, const Field& field) {
    const bool isNumber = field.type == FieldType::number16 || field.type == FieldType::number32;
    if (!isNumber || field.count < 1) return std::nullopt;
    return bytes.number(field.place, bytesOf(field.type));
}

/// Degrees, minutes and seconds, each a fraction.
std::optional<double> degreesOf(const TiffBytes& bytes, const Field& field) {
    if (field.type != FieldType::fraction || field.count != 3) return std::nullopt;
    double degrees = 0;
    double unit = 1;
    for (std::size_t part = 0; part < 3; ++part, unit *= 60) {
        const auto above = bytes.number(field.place + 8 * part, 4);
        const auto below = bytes.number(field.place + 8 * part + 4, 4);
        if (!above || !below || *below == 0) return std::nullopt;
        degrees += static_cast<double>(*above) / *below / unit;
    }
    return degrees;
}

/// "2026:03:01 09:30:00"; cameras that were never set write zeros or spaces.
std::optional<CalendarFields> momentFrom(std::string text) {
    if (text.size() != 19 || text[4] != ':' || text[7] != ':') return std::nullopt;
    text[4] = '-';
    text[7] = '-';
    const auto date = parseIso8601(text);
    return date ? std::optional(utcFields(*date)) : std::nullopt;
}

std::optional<CalendarFields> takenFrom(const TiffBytes& bytes, std::size_t directory) {
    for (const Field& field : fieldsAt(bytes, directory)) {
        if (static_cast<Tag>(field.tag) == Tag::taken) return momentFrom(textOf(bytes, field));
    }
    return std::nullopt;
}

std::optional<GeoPosition> positionFrom(const TiffBytes& bytes, std::size_t directory) {
    std::optional<double> latitude;
    std::optional<double> longitude;
    bool south = false;
    bool west = false;
    for (const Field& field : fieldsAt(bytes, directory)) {
        switch (static_cast<GpsTag>(field.tag)) {
            case GpsTag::latitudeSide:
                south = textOf(bytes, field) == "S";
                break;
            case GpsTag::latitude:
                latitude = degreesOf(bytes, field);
                break;
            case GpsTag::longitudeSide:
                west = textOf(bytes, field) == "W";
                break;
            case GpsTag::longitude:
                longitude = degreesOf(bytes, field);
                break;
        }
    }
    if (!latitude || !longitude || *latitude > 90 || *longitude > 180) return std::nullopt;
    // What a device without a fix writes, and a spot in the open sea.
    if (*latitude == 0 && *longitude == 0) return std::nullopt;
    return GeoPosition{south ? -*latitude : *latitude, west ? -*longitude : *longitude};
}

/// Many models begin with their maker's name.
std::string cameraFrom(const std::string& maker, const std::string& model) {
    if (maker.empty() || lowerCased(model).starts_with(lowerCased(maker))) return model;
    return model.empty() ? maker : maker + " " + model;
}

}  // namespace

ExifBlock readExif(std::string_view tiff) {
    ExifBlock block;
    const TiffBytes bytes(tiff);
    if (!bytes.isTiff()) return block;
    std::string maker;
    std::string model;
    std::optional<CalendarFields> changed;
    std::optional<std::uint32_t> exifFields;
    std::optional<std::uint32_t> gpsFields;
    for (const Field& field : fieldsAt(bytes, bytes.number(4, 4).value_or(0))) {
        const auto number = numberOf(bytes, field);
        switch (static_cast<Tag>(field.tag)) {
            case Tag::maker:
                maker = textOf(bytes, field);
                break;
            case Tag::model:
                model = textOf(bytes, field);
                break;
            case Tag::orientation:
                if (number >= 1u && number <= 8u) block.orientation = Orientation(*number);
                break;
            case Tag::changed:
                changed = momentFrom(textOf(bytes, field));
                break;
            case Tag::exifFields:
                exifFields = number;
                break;
            case Tag::gpsFields:
                gpsFields = number;
                break;
            case Tag::taken:
                break;
        }
    }
    block.camera = cameraFrom(maker, model);
    // Read once each, however often a hostile block points to them.
    if (exifFields) block.taken = takenFrom(bytes, *exifFields);
    if (gpsFields) block.position = positionFrom(bytes, *gpsFields);
    if (!block.taken) block.taken = changed;
    return block;
}

}  // namespace nookery
