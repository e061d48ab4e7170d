#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace nookery {

/// Overwrites secrets in memory, in a way that no optimiser leaves out.
void wipe(std::span<std::byte> bytes) noexcept;
/// Also empties the text. The caller wipes copies that were made of it before.
void wipe(std::string& text) noexcept;

}  // namespace nookery
