#include "backends/reader/PdfDrawing.h"

namespace nookery {
namespace {

constexpr std::size_t longestText = std::size_t{16} << 20;

std::uint8_t readByte(FieldReader& reader) {
    return static_cast<std::uint8_t>(reader.integer(0, 255));
}

}  // namespace

void write(FieldWriter& writer, const PdfSetup& setup) {
    writer.real(setup.pageWidth).real(setup.pageHeight).text(setup.title);
}

void write(FieldWriter& writer, const PdfFont& font) {
    writer.real(font.size).integer(font.face == PdfFont::Face::bold ? 1 : 0);
}

void write(FieldWriter& writer, PdfColor color) {
    writer.integer(color.red).integer(color.green).integer(color.blue);
}

void write(FieldWriter& writer, PdfPoint point) { writer.real(point.x).real(point.y); }

void write(FieldWriter& writer, const PdfRectangle& rectangle) {
    writer.real(rectangle.left).real(rectangle.top).real(rectangle.width).real(rectangle.height);
}

void write(FieldWriter& writer, const PdfTextLine& line) {
    writer.text(line.text).real(line.width).real(line.ascent).real(line.descent);
    writer.integer(line.runsRightToLeft ? 1 : 0);
}

double readLength(FieldReader& reader) { return reader.real(-1e9, 1e9); }

PdfSetup readSetup(FieldReader& reader) {
    PdfSetup setup;
    setup.pageWidth = readLength(reader);
    setup.pageHeight = readLength(reader);
    setup.title = reader.bytes(longestText);
    return setup;
}

PdfFont readFont(FieldReader& reader) {
    PdfFont font;
    font.size = readLength(reader);
    font.face = reader.integer(0, 1) == 1 ? PdfFont::Face::bold : PdfFont::Face::regular;
    return font;
}

PdfColor readColor(FieldReader& reader) {
    PdfColor color;
    color.red = readByte(reader);
    color.green = readByte(reader);
    color.blue = readByte(reader);
    return color;
}

PdfPoint readPoint(FieldReader& reader) {
    PdfPoint point;
    point.x = readLength(reader);
    point.y = readLength(reader);
    return point;
}

PdfRectangle readRectangle(FieldReader& reader) {
    PdfRectangle rectangle;
    rectangle.left = readLength(reader);
    rectangle.top = readLength(reader);
    rectangle.width = readLength(reader);
    rectangle.height = readLength(reader);
    return rectangle;
}

PdfTextLine readLine(FieldReader& reader) {
    PdfTextLine line;
    line.text = reader.text(longestText);
    line.width = readLength(reader);
    line.ascent = readLength(reader);
    line.descent = readLength(reader);
    line.runsRightToLeft = reader.integer(0, 1) == 1;
    return line;
}

}  // namespace nookery
