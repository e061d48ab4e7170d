#include "backends/recognition/BrokenNumbers.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>

namespace nookery {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// No more than two letters apart, on one level, a digit on each side of the gap.
bool breaksBetween(const TextPiece& left, const TextPiece& right, double aspect) {
    const NormalizedBox& a = left.line.box;
    const NormalizedBox& b = right.line.box;
    const double height = std::max(a.height, b.height);
    const double gap = (b.x - a.x - a.width) * aspect;
    return isDigit(left.line.text.back()) && isDigit(right.line.text.front()) && gap >= 0 &&
           gap < 2 * height && std::abs(a.centreY() - b.centreY()) < 0.5 * height;
}

NormalizedBox around(const NormalizedBox& a, const NormalizedBox& b) {
    const double bottom = std::min(a.y, b.y);
    return {a.x, bottom, b.x + b.width - a.x, std::max(a.y + a.height, b.y + b.height) - bottom};
}

}  // namespace

std::vector<NormalizedBox> takeBrokenNumbers(std::vector<TextPiece>& pieces, double aspect) {
    std::vector<NormalizedBox> whole;
    std::vector<bool> taken(pieces.size(), false);
    for (std::size_t left = 0; left < pieces.size(); ++left) {
        if (!isDigit(pieces[left].line.text.back())) continue;
        for (std::size_t right = 0; right < pieces.size(); ++right) {
            if (taken[left] || taken[right] || left == right) continue;
            if (!breaksBetween(pieces[left], pieces[right], aspect)) continue;
            whole.push_back(around(pieces[left].line.box, pieces[right].line.box));
            taken[left] = taken[right] = true;
        }
    }
    std::size_t index = 0;
    std::erase_if(pieces, [&](const TextPiece&) { return taken[index++]; });
    return whole;
}

}  // namespace nookery
