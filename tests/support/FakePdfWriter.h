#pragma once

#include <string>
#include <vector>

#include "platform/PdfWriter.h"

namespace nookery::testing {

/// Every character is half as wide as its font is high. Keeps what the last document drew, and
/// writes it into the file, a line each.
class FakePdfWriter final : public PdfWriter {
  public:
    struct Text {
        std::string text;
        PdfFont font;
        PdfRectangle place;
    };
    struct Page {
        std::vector<Text> texts{};
        std::vector<PdfRectangle> pictures{};
    };
    std::vector<Page> pages;

    void write(WritableFile& file, const PdfSetup& setup,
               const std::function<void(PdfCanvas&)>& draw) override;
};

}  // namespace nookery::testing
