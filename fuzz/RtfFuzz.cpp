#include <cstdlib>
#include <string_view>

#include "backends/documents/RtfText.h"

/// The text does not depend on how the bytes were cut into pieces.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    constexpr std::size_t maximumByteCount = 1 << 20;
    nookery::RtfText whole(maximumByteCount);
    whole.feed(bytes);
    nookery::RtfText pieces(maximumByteCount);
    for (std::size_t i = 0; i < size; i += 3) pieces.feed(bytes.substr(i, 3));
    if (whole.isComplete() != pieces.isComplete()) std::abort();
    if (whole.takeText() != pieces.takeText()) std::abort();
    if (whole.takeTitle() != pieces.takeTitle()) std::abort();
    return 0;
}
