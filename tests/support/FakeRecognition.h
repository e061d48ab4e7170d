#pragma once

#include <vector>

#include "platform/ImageReader.h"
#include "platform/PageReader.h"
#include "platform/TextRecognizer.h"

namespace nookery::testing {

/// Reads the bytes of a PNG as a picture of one row; after its mark, "damaged" cannot be read.
class FakeImages final : public ImageReader {
  public:
    bool canRead(const ContentType& type) const override { return type.mediaType == "image/png"; }
    Picture read(const Path& path, const ContentType& type, int longestSide,
                 const ImageLimits& limits, std::stop_token stop) const override;
    ImageFacts facts(const Path& path, const ContentType& type,
                     const ImageLimits& limits) const override;
};

/// Every document has one page, whose picture is the file's bytes in one row.
class FakePages final : public PageReader {
  public:
    int pageCount(const Path& path, const DocumentLimits& limits) const override;
    Picture render(const Path& path, int page, int longestSide, const DocumentLimits& limits,
                   std::stop_token stop) const override;
};

/// Finds the given lines in every picture.
class FakeTextRecognizer final : public TextRecognizer {
  public:
    std::vector<OCRLine> lines;

    std::vector<OCRLine> recognise(const Picture& picture, std::stop_token stop) const override;
};

}  // namespace nookery::testing
