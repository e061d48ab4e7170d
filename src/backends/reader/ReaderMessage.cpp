#include "backends/reader/ReaderMessage.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "foundation/Text.h"

namespace nookery {
namespace {

template <typename Number>
void append(std::string& fields, Number value) {
    fields.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template <typename Number>
Number taken(std::string_view& rest) {
    Number value{};
    demandWellFormed(rest.size() >= sizeof value);
    std::memcpy(&value, rest.data(), sizeof value);
    rest.remove_prefix(sizeof value);
    return value;
}

}  // namespace

FieldWriter& FieldWriter::integer(std::int64_t value) {
    append(fields_, value);
    return *this;
}

FieldWriter& FieldWriter::real(double value) {
    append(fields_, value);
    return *this;
}

FieldWriter& FieldWriter::text(std::string_view value) {
    append(fields_, std::uint64_t{value.size()});
    fields_ += value;
    return *this;
}

std::int64_t FieldReader::integer() { return taken<std::int64_t>(rest_); }

std::int64_t FieldReader::integer(std::int64_t least, std::int64_t most) {
    const std::int64_t value = integer();
    demandWellFormed(value >= least && value <= most);
    return value;
}

double FieldReader::real(double least, double most) {
    const auto value = taken<double>(rest_);
    demandWellFormed(std::isfinite(value) && value >= least && value <= most);
    return value;
}

std::string_view FieldReader::bytes(std::size_t most) {
    const auto byteCount = taken<std::uint64_t>(rest_);
    demandWellFormed(byteCount <= most && byteCount <= rest_.size());
    const std::string_view value = rest_.substr(0, byteCount);
    rest_.remove_prefix(byteCount);
    return value;
}

std::string FieldReader::text(std::size_t most) { return toValidUtf8(bytes(most)); }

void writeSize(FieldWriter& writer, const Picture& picture) {
    writer.integer(picture.width).integer(picture.height);
}

Picture takePicture(FieldReader& reader, std::vector<std::uint8_t>& pixels, int longestSide) {
    Picture picture;
    picture.width = static_cast<int>(reader.integer(0, longestSide));
    picture.height = static_cast<int>(reader.integer(0, longestSide));
    demandWellFormed(pixels.size() == std::size_t{3} * static_cast<std::size_t>(picture.width) *
                                          static_cast<std::size_t>(picture.height));
    picture.pixels = std::move(pixels);
    return picture;
}

std::size_t mostPixelBytes(int longestSide) {
    const auto side = static_cast<std::size_t>(longestSide < 0 ? 0 : longestSide);
    // No decoder unpacks more than this, whatever side is asked for.
    constexpr std::size_t most = std::size_t{1} << 30;
    return side > 20'000 ? most : std::min(most, 3 * side * side);
}

}  // namespace nookery
