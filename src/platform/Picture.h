#pragma once

#include <cstdint>
#include <vector>

namespace nookery {

/// Pixels in memory: rows from the top, no padding, three bytes (red, green, blue) a pixel.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;  ///< 3 * width * height

    bool isEmpty() const { return width <= 0 || height <= 0; }
};

}  // namespace nookery
