#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Error.h"
#include "foundation/FileSystem.h"
#include "platform/Picture.h"

namespace nookery {

// All lengths are points (1/72 inch); places count from the upper left corner of the page.

struct PdfPoint {
    double x = 0;
    double y = 0;
};

struct PdfRectangle {
    double left = 0;
    double top = 0;
    double width = 0;
    double height = 0;

    double right() const { return left + width; }
    double bottom() const { return top + height; }
};

struct PdfColor {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
};

/// Helvetica, with other families for the characters that it lacks.
struct PdfFont {
    enum class Face { regular, bold };

    double size = 10;
    Face face = Face::regular;
};

/// One line of a text that was broken to fit a width, in logical order.
struct PdfTextLine {
    std::string text{};
    double width = 0;
    double ascent = 0;             ///< from the baseline to the top of the tallest font in it
    double descent = 0;            ///< from the baseline to the bottom of the deepest one
    bool runsRightToLeft = false;  ///< the direction of its paragraph

    double height() const { return ascent + descent; }
};

/// `natural` is left for text that runs left to right, right for text that runs right to left.
enum class PdfAlignment { natural, left, center, right };

/// The pages of one document as they are drawn, one after the other. What was drawn on a page is
/// final once the next one begins.
class PdfCanvas {
  public:
    virtual ~PdfCanvas() = default;

    /// The first page begins by itself.
    virtual void beginPage() = 0;

    /// Breaks at line ends and between words, a word that is wider than `width` anywhere. An empty
    /// line of the text gives a line without text; an empty text gives none. A tab is four blanks.
    virtual std::vector<PdfTextLine> breakText(std::string_view text, const PdfFont& font,
                                               double width) const = 0;
    /// The text on one line, its line ends and tabs as blanks, cut behind with "…" where it is
    /// wider.
    virtual PdfTextLine fitText(std::string_view text, const PdfFont& font, double width) const = 0;

    /// Draws a line that `breakText` or `fitText` made for this font. Its upper edge is at `top`;
    /// it is aligned within `width` from `left` on.
    virtual void drawText(const PdfTextLine& line, const PdfFont& font, PdfColor color,
                          PdfPoint leftTop, double width, PdfAlignment alignment) = 0;
    virtual void drawLine(PdfPoint from, PdfPoint to, double thickness, PdfColor color) = 0;
    virtual void fillRectangle(const PdfRectangle& rectangle, PdfColor color) = 0;
    /// The frame lies inside the rectangle.
    virtual void frameRectangle(const PdfRectangle& rectangle, double thickness,
                                PdfColor color) = 0;
    /// Stretches the picture over the rectangle. The document stores it as JPEG with all its
    /// pixels: the caller scales it down first.
    virtual void drawPicture(const Picture& picture, const PdfRectangle& rectangle) = 0;
};

struct PdfSetup {
    double pageWidth = 612;
    double pageHeight = 792;
    std::string title{};  ///< of the document, for readers' windows
};

/// The document could not be drawn or finished.
class PdfError : public Error {
  public:
    using Error::Error;
};

/// Writes PDF documents. The same drawing gives the same bytes, on any day. Any thread, one
/// document at a time.
class PdfWriter {
  public:
    virtual ~PdfWriter() = default;

    /// Lets `draw` draw the pages, and writes the whole document into `file`, which the caller
    /// syncs and closes: with `replaceDurably` a reader finds the whole document or none. Throws
    /// PdfError, FileError, or what `draw` throws; the file's content is then unusable.
    virtual void write(WritableFile& file, const PdfSetup& setup,
                       const std::function<void(PdfCanvas&)>& draw) = 0;
};

}  // namespace nookery
