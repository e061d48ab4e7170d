#pragma once

#include "backends/reader/ReaderMessage.h"
#include "platform/PdfWriter.h"

namespace nookery {

// How a drawing travels to a reader process: operations, each with its fields. The first message of
// a document holds its setup; each answer holds the bytes of the document that are finished by
// then, and the lines that the last operation asked for.

enum class DrawingOperation {
    beginPage,
    breakText,  ///< answered by lines; the last operation in its message
    fitText,    ///< likewise
    drawText,
    drawLine,
    fillRectangle,
    frameRectangle,
    drawPicture,  ///< its pixels lie beside the fields; the last operation in its message
    finish        ///< likewise the last
};
constexpr int drawingOperationCount = 9;

void write(FieldWriter& writer, const PdfSetup& setup);
void write(FieldWriter& writer, const PdfFont& font);
void write(FieldWriter& writer, PdfColor color);
void write(FieldWriter& writer, PdfPoint point);
void write(FieldWriter& writer, const PdfRectangle& rectangle);
void write(FieldWriter& writer, const PdfTextLine& line);

// These throw MalformedMessage.

PdfSetup readSetup(FieldReader& reader);
PdfFont readFont(FieldReader& reader);
PdfColor readColor(FieldReader& reader);
PdfPoint readPoint(FieldReader& reader);
PdfRectangle readRectangle(FieldReader& reader);
PdfTextLine readLine(FieldReader& reader);
/// A length or place in points.
double readLength(FieldReader& reader);

}  // namespace nookery
