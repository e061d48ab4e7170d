#include "foundation/Wipe.h"

#include <cstring>

namespace nookery {

void wipe(std::span<std::byte> bytes) noexcept { ::explicit_bzero(bytes.data(), bytes.size()); }

void wipe(std::string& text) noexcept {
    wipe(std::as_writable_bytes(std::span(text)));
    text.clear();
}

}  // namespace nookery
