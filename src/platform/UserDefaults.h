#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// A per-user key-value store of small data under dotted keys ("Crumb.ManualTags.v1"). Values are
/// bytes; the program's own are JSON. Main thread, but `get` may be called from any.
class UserDefaults {
  public:
    virtual ~UserDefaults() = default;

    /// None when the key holds nothing. Throws Error when the store cannot be read: an unreadable
    /// store is never an empty one.
    virtual std::optional<std::string> get(std::string_view key) const = 0;
    /// Durable when it returns; on failure throws FileError and the old value stays.
    virtual void set(std::string_view key, std::string_view value) = 0;
    /// Nothing there is fine. Durable as `set`.
    virtual void remove(std::string_view key) = 0;
    /// All keys that hold something, sorted.
    virtual std::vector<std::string> keys() const = 0;
};

}  // namespace nookery
