#include "backends/recognition/ReadingOrder.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace nookery {
namespace {

/// Photographed paper is seldom flat: what was printed as one row rises or falls on its way from
/// left to right, and more so at one end of the paper than at the other.
struct RowSlope {
    double level = 0;   ///< rise over the picture's width, at half height
    double change = 0;  ///< of that rise, from the bottom to the top

    double straightened(const NormalizedBox& box) const {
        const double y = box.centreY();
        return y - (level + change * (y - 0.5)) * (box.centreX() - 0.5);
    }
};

/// Two pieces of text, one of which may continue the other's row.
struct Pair {
    const NormalizedBox* left;
    const NormalizedBox* right;
    double height;
};

double medianHeight(const std::vector<TextPiece>& pieces) {
    std::vector<double> heights;
    for (const TextPiece& piece : pieces) heights.push_back(piece.line.box.height);
    const auto middle = heights.begin() + static_cast<std::ptrdiff_t>(heights.size() / 2);
    std::nth_element(heights.begin(), middle, heights.end());
    return *middle;
}

/// On a crowded page, a sample of the pairs is enough to find the slope.
std::vector<Pair> thinned(const std::vector<Pair>& pairs) {
    constexpr std::size_t enough = 4000;
    const std::size_t step = pairs.size() / enough + 1;
    std::vector<Pair> kept;
    for (std::size_t i = 0; i < pairs.size(); i += step) kept.push_back(pairs[i]);
    return kept;
}

/// Pairs of which the right piece lies near to where the left one's row leads.
std::vector<Pair> pairsOf(const std::vector<TextPiece>& pieces, double height, double rise) {
    std::vector<Pair> pairs;
    for (const TextPiece& left : pieces) {
        for (const TextPiece& right : pieces) {
            const NormalizedBox& from = left.line.box;
            const NormalizedBox& to = right.line.box;
            const double led = from.centreY() + rise * (to.centreX() - from.centreX());
            const bool follows = to.x >= from.x + from.width;
            if (follows && std::abs(to.centreY() - led) < 2 * height) {
                pairs.push_back({&from, &to, height});
            }
        }
    }
    return thinned(pairs);
}

/// How well the slope explains the pairs as rows. A pair that fits by being moved far counts less
/// than one that nearly fits as it is, since each row also fits its neighbours' slope.
double fitness(const RowSlope& slope, const std::vector<Pair>& pairs) {
    double sum = 0;
    for (const Pair& pair : pairs) {
        const double off =
            (slope.straightened(*pair.left) - slope.straightened(*pair.right)) / pair.height;
        sum += std::max(0.0, 1 - 9 * off * off);
    }
    return sum;
}

/// The median rise of the text's own baselines, each weighted by its length.
double medianRise(const std::vector<TextPiece>& pieces) {
    std::vector<std::pair<double, double>> rises;
    double wholeWidth = 0;
    for (const TextPiece& piece : pieces) {
        rises.emplace_back(piece.rise, piece.line.box.width);
        wholeWidth += piece.line.box.width;
    }
    std::sort(rises.begin(), rises.end());
    double width = 0;
    for (const auto& [rise, pieceWidth] : rises) {
        width += pieceWidth;
        if (width >= wholeWidth / 2) return rise;
    }
    return 0;
}

RowSlope findSlope(const std::vector<TextPiece>& pieces) {
    constexpr int steps = 24;
    const double height = medianHeight(pieces);
    const double step = height / 12;
    const double rise = medianRise(pieces);
    const std::vector<Pair> pairs = pairsOf(pieces, height, rise);
    RowSlope best{rise, 0};
    double bestFitness = fitness(best, pairs);
    for (int level = -steps; level <= steps; ++level) {
        for (int change = -steps; change <= steps; change += 2) {
            const RowSlope slope{rise + level * step, change * step};
            const double farness = (std::abs(level) + std::abs(change) / 2.0) / steps;
            const double found = fitness(slope, pairs) * (1 - 0.35 * farness);
            if (found <= bestFitness) continue;
            best = slope;
            bestFitness = found;
        }
    }
    return best;
}

bool standBeside(const NormalizedBox& a, const NormalizedBox& b) {
    return std::abs(a.centreY() - b.centreY()) <= 0.45 * std::max(a.height, b.height);
}

void join(TextPiece& row, const TextPiece& next) {
    OCRLine& line = row.line;
    const NormalizedBox& box = next.line.box;
    line.text += ' ';
    line.text += next.line.text;
    line.words.insert(line.words.end(), next.line.words.begin(), next.line.words.end());
    if (row.holdsNumber == next.holdsNumber) {
        line.confidence = std::min(line.confidence, next.line.confidence);
    } else if (next.holdsNumber) {
        line.confidence = next.line.confidence;
    }
    row.holdsNumber = row.holdsNumber || next.holdsNumber;
    const double top = std::max(line.box.y + line.box.height, box.y + box.height);
    line.box.width = std::max(line.box.x + line.box.width, box.x + box.width) - line.box.x;
    line.box.y = std::min(line.box.y, box.y);
    line.box.height = top - line.box.y;
}

}  // namespace

std::vector<OCRLine> inRows(std::vector<TextPiece> pieces) {
    std::vector<OCRLine> lines;
    if (pieces.empty()) return lines;
    const RowSlope slope = findSlope(pieces);
    for (TextPiece& piece : pieces) {
        NormalizedBox& box = piece.line.box;
        box.y = std::clamp(slope.straightened(box) - box.height / 2, 0.0, 1 - box.height);
    }
    std::stable_sort(pieces.begin(), pieces.end(), [](const TextPiece& a, const TextPiece& b) {
        return a.line.box.centreY() > b.line.box.centreY();
    });
    for (auto row = pieces.begin(); row != pieces.end();) {
        const auto end = std::find_if(row + 1, pieces.end(), [&row](const TextPiece& piece) {
            return !standBeside(row->line.box, piece.line.box);
        });
        std::stable_sort(row, end, [](const TextPiece& a, const TextPiece& b) {
            return a.line.box.x < b.line.box.x;
        });
        for (auto next = row + 1; next != end; ++next) join(*row, *next);
        lines.push_back(std::move(row->line));
        row = end;
    }
    return lines;
}

}  // namespace nookery
