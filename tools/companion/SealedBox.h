#pragma once

#include <string>

namespace companion {

/// 12 random bytes, the AES-256-GCM ciphertext, 16 bytes of tag. `key` has 32 bytes.
std::string seal(const std::string& plain, const std::string& key);
/// Throws Failure unless the box is whole and was sealed with this key.
std::string open(const std::string& box, const std::string& key);

}  // namespace companion
