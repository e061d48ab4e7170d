#include "backends/recognition/ReadingOrder.h"

#include <algorithm>

namespace nookery {
namespace {

/// Each reaches at least half of its height into the other's.
bool standBeside(const NormalizedBox& a, const NormalizedBox& b) {
    const double shared = std::min(a.y + a.height, b.y + b.height) - std::max(a.y, b.y);
    return shared >= 0.5 * std::max(a.height, b.height);
}

}  // namespace

std::vector<OCRLine> inReadingOrder(std::vector<OCRLine> lines) {
    std::stable_sort(lines.begin(), lines.end(), [](const OCRLine& a, const OCRLine& b) {
        return a.box.centreY() > b.box.centreY();
    });
    for (auto row = lines.begin(); row != lines.end();) {
        const auto end = std::find_if(row + 1, lines.end(), [&row](const OCRLine& line) {
            return !standBeside(row->box, line.box);
        });
        std::stable_sort(row, end,
                         [](const OCRLine& a, const OCRLine& b) { return a.box.x < b.box.x; });
        row = end;
    }
    return lines;
}

}  // namespace nookery
