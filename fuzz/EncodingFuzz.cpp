#include <cstdlib>
#include <string_view>

#include "foundation/Text.h"
#include "foundation/TextDecoding.h"

/// Whatever the bytes are, they become valid text without NUL, and valid text stays as it is.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::string text = nookery::decodeText(bytes);
    if (!nookery::isValidUtf8(text) || text.find('\0') != std::string::npos) std::abort();
    const auto same = nookery::decodeUtf8(bytes);
    if (same && !nookery::isValidUtf8(*same)) std::abort();
    return 0;
}
