#pragma once

#include <vector>

#include "platform/ImageReader.h"
#include "platform/MediaReader.h"
#include "platform/PageReader.h"
#include "platform/PictureEncoder.h"
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
    std::vector<int> withoutText;  ///< what `pagesWithoutText` answers

    std::vector<int> pagesWithoutText(const Path&, const DocumentLimits&,
                                      std::stop_token) const override {
        return withoutText;
    }
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

/// Everything of an audio or video type says and shows the same.
class FakeMedia final : public MediaReader {
  public:
    MediaFacts saidFacts;
    Picture shownCover;

    bool canRead(const ContentType& type) const override {
        return type.mediaType.starts_with("video/") || type.mediaType.starts_with("audio/");
    }
    MediaFacts facts(const Path&, std::stop_token) const override { return saidFacts; }
    Picture cover(const Path&, int, std::stop_token) const override { return shownCover; }
};

/// The width and height in words.
class FakePictureEncoder final : public PictureEncoder {
  public:
    std::string jpeg(const Picture& picture) const override {
        return std::to_string(picture.width) + " x " + std::to_string(picture.height);
    }
};

}  // namespace nookery::testing
