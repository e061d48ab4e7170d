#pragma once

#include <stop_token>
#include <string>
#include <vector>

#include "foundation/Error.h"
#include "platform/Picture.h"

namespace nookery {

/// Text recognition that failed as a whole. A picture without text is no error.
class RecognitionError : public Error {
  public:
    using Error::Error;
};

/// A rectangle in a picture whose width and height count as 1; the origin is at the bottom left.
struct NormalizedBox {
    double x = 0;  ///< of the left edge
    double y = 0;  ///< of the lower edge
    double width = 0;
    double height = 0;

    double centreX() const { return x + width / 2; }
    double centreY() const { return y + height / 2; }
    bool operator==(const NormalizedBox&) const = default;
};

/// A word of a line.
struct OCRWord {
    std::string text;   ///< valid UTF-8, trimmed, not empty
    NormalizedBox box;  ///< around it in the picture as it was given

    bool operator==(const OCRWord&) const = default;
};

/// A line of text found in a picture.
struct OCRLine {
    std::string text;   ///< valid UTF-8, trimmed, not empty
    NormalizedBox box;  ///< in the picture once its text stands straight
    /// 0 to 1: of the least certain number in the line; without one, of its least certain word.
    double confidence = 1;
    std::vector<OCRWord> words{};  ///< as they were read, from left to right

    bool operator==(const OCRLine&) const = default;
};

/// Reads printed text in pictures. Any thread; several at once; each uses one core.
class TextRecognizer {
  public:
    virtual ~TextRecognizer() = default;

    /// The side to which larger pictures may be scaled down before they are recognised: more costs
    /// time and tells nothing new.
    static constexpr int usefulLongestSide = 3200;

    /// Lines in reading order, top to bottom; lines of one printed row from left to right. Takes a
    /// good part of a second for a full page. Throws RecognitionError, or Cancelled soon after stop
    /// is requested.
    virtual std::vector<OCRLine> recognise(const Picture& picture, std::stop_token stop) const = 0;
};

}  // namespace nookery
