#pragma once

#include <random>
#include <string>

#include "platform/Picture.h"
#include "support/receipts/ReceiptText.h"

namespace nookery::testing {

/// How a receipt was photographed. The defaults are a clean scan.
struct PhotoConditions {
    int width = 1200;
    std::string font = "DejaVu Sans Mono";
    double fontShare = 1.0 / 28;  ///< of the width: the height of the font
    double tiltDegrees = 0;
    double keystone = 0;   ///< by how much of its width the paper narrows towards the top
    double foldDepth = 0;  ///< pixels by which folds move the print, in a picture 1200 wide
    double shadow = 0;     ///< 0 to 1: how dark the darkest corner is
    double fading = 0;     ///< 0 to 1: how pale the ink is
    int blurRounds = 0;
    double noise = 0;  ///< standard deviation of the grey levels
};

/// What a hand-held telephone does, in a light worse than a scanner's.
PhotoConditions handHeld(std::mt19937& random);

/// Prints the receipt on paper that lies on a table, and photographs it. The same for the same
/// state of `random`. Needs a QGuiApplication.
Picture photograph(const MadeUpReceipt& receipt, const PhotoConditions& conditions,
                   std::mt19937& random);

}  // namespace nookery::testing
