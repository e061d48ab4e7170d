#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace nookery {

/// Overwrites what must not stay in memory, in a way that no optimiser leaves out.
void wipe(std::span<std::byte> bytes) noexcept;
/// Also empties the text. Copies that were made of it before are the caller's to wipe.
void wipe(std::string& text) noexcept;

}  // namespace nookery
