#include "backends/recognition/PicturePreparation.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

namespace nookery {
namespace {

constexpr int smallestSide = 8;
/// A pixel below this grey is ink, once the paper is white.
constexpr int inkThreshold = 150;

OwnedPix grey(const Picture& picture) {
    OwnedPix pix(pixCreateNoInit(picture.width, picture.height, 8));
    if (!pix) return pix;
    const std::uint8_t* pixel = picture.pixels.data();
    l_uint32* row = pixGetData(pix.get());
    for (int y = 0; y < picture.height; ++y, row += pixGetWpl(pix.get())) {
        for (int x = 0; x < picture.width; ++x, pixel += 3) {
            // The brightness that the eye sees, with weights in 256ths.
            SET_DATA_BYTE(row, x, (77 * pixel[0] + 150 * pixel[1] + 29 * pixel[2]) >> 8);
        }
    }
    return pix;
}

/// Shadows and folds become white where they are paper.
OwnedPix evenedOut(OwnedPix pix) {
    constexpr int tileWidth = 16;
    constexpr int tileHeight = 16;
    constexpr int foregroundThreshold = 80;
    constexpr int fewestBackgroundPixels = 60;
    constexpr int background = 230;
    OwnedPix even(pixBackgroundNorm(pix.get(), nullptr, nullptr, tileWidth, tileHeight,
                                    foregroundThreshold, fewestBackgroundPixels, background, 2, 2));
    return even ? std::move(even) : std::move(pix);
}

/// Turned so that lines of text are level, when enough of them agree on an angle; `turnedBy`
/// receives it.
OwnedPix levelled(OwnedPix pix, double& turnedBy) {
    constexpr float sweepDegrees = 12;
    constexpr float sweepStepDegrees = 1;
    constexpr float smallestStepDegrees = 0.02F;
    constexpr float leastConfidence = 3;
    constexpr double leastDegrees = 0.15;
    const OwnedPix ink(pixThresholdToBinary(pix.get(), inkThreshold));
    l_float32 degrees = 0;
    l_float32 confidence = 0;
    if (!ink || pixFindSkewSweepAndSearch(ink.get(), &degrees, &confidence, 4, 2, sweepDegrees,
                                          sweepStepDegrees, smallestStepDegrees) != 0) {
        return pix;
    }
    if (confidence < leastConfidence || std::abs(degrees) < leastDegrees) return pix;
    const auto radians = static_cast<l_float32>(degrees * std::numbers::pi / 180);
    OwnedPix level(pixRotateAMGray(pix.get(), radians, 255));
    if (!level) return pix;
    turnedBy = radians;
    return level;
}

OwnedPix withContrast(OwnedPix pix) {
    constexpr int black = 60;
    constexpr int white = 200;
    OwnedPix clear(pixGammaTRC(nullptr, pix.get(), 1.0F, black, white));
    return clear ? std::move(clear) : std::move(pix);
}

struct BoxesRelease {
    void operator()(Boxa* boxes) const { boxaDestroy(&boxes); }
};

/// The middle height of what may be letters; 0 when there are too few.
int letterHeight(Pix* grey) {
    constexpr int smallest = 8;
    constexpr int largest = 150;
    constexpr std::size_t fewest = 20;
    const OwnedPix ink(pixThresholdToBinary(grey, inkThreshold));
    if (!ink) return 0;
    const std::unique_ptr<Boxa, BoxesRelease> boxes(pixConnCompBB(ink.get(), 8));
    std::vector<int> heights;
    for (int i = 0; i < boxaGetCount(boxes.get()); ++i) {
        int width = 0;
        int height = 0;
        boxaGetBoxGeometry(boxes.get(), i, nullptr, nullptr, &width, &height);
        if (height >= smallest && height <= largest && width <= 3 * height) {
            heights.push_back(height);
        }
    }
    if (heights.size() < fewest) return 0;
    const auto middle = heights.begin() + static_cast<std::ptrdiff_t>(heights.size() / 2);
    std::nth_element(heights.begin(), middle, heights.end());
    return *middle;
}

/// Letters larger than the recogniser needs cost time, and it reads their grain as ink.
OwnedPix readablySmall(OwnedPix pix) {
    constexpr float wantedHeight = 20;
    constexpr float smallestScale = 0.3F;
    const int height = letterHeight(pix.get());
    if (height <= wantedHeight) return pix;
    const float scale = std::max(smallestScale, wantedHeight / static_cast<float>(height));
    OwnedPix small(pixScale(pix.get(), scale, scale));
    return small ? std::move(small) : std::move(pix);
}

}  // namespace

PreparedPicture preparedForReading(const Picture& picture) {
    PreparedPicture prepared;
    if (picture.width < smallestSide || picture.height < smallestSide) return prepared;
    prepared.aspect = static_cast<double>(picture.width) / picture.height;
    OwnedPix pix = grey(picture);
    if (!pix) return prepared;
    pix = levelled(evenedOut(std::move(pix)), prepared.turnedBy);
    prepared.pix = readablySmall(withContrast(std::move(pix)));
    return prepared;
}

NormalizedBox PreparedPicture::inGivenPicture(const NormalizedBox& box) const {
    if (turnedBy == 0) return box;
    const double cosine = std::cos(turnedBy);
    const double sine = std::sin(turnedBy);
    NormalizedBox around{1, 1, 0, 0};
    double right = 0;
    double top = 0;
    for (const double cornerX : {box.x, box.x + box.width}) {
        for (const double cornerY : {box.y, box.y + box.height}) {
            // Turned back around the middle, in units of the picture's height, upwards positive.
            const double x = (cornerX - 0.5) * aspect;
            const double y = cornerY - 0.5;
            const double givenX = std::clamp((x * cosine - y * sine) / aspect + 0.5, 0.0, 1.0);
            const double givenY = std::clamp(x * sine + y * cosine + 0.5, 0.0, 1.0);
            around.x = std::min(around.x, givenX);
            around.y = std::min(around.y, givenY);
            right = std::max(right, givenX);
            top = std::max(top, givenY);
        }
    }
    around.width = right - around.x;
    around.height = top - around.y;
    return around;
}

}  // namespace nookery
