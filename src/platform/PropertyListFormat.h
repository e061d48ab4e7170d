#pragma once

#include <map>
#include <string>
#include <variant>
#include <vector>

namespace nookery {

/// What a flat property list holds under a key: text, a whole number, or data.
using PropertyListValue = std::variant<std::string, long, std::vector<unsigned char>>;
using PropertyList = std::map<std::string, PropertyListValue>;

/// Writes and reads XML property lists of one dictionary. Any thread.
class PropertyListFormat {
  public:
    virtual ~PropertyListFormat() = default;
    virtual std::string write(const PropertyList& list) const = 0;
    /// Throws Error when the text is not such a property list.
    virtual PropertyList read(const std::string& xml) const = 0;
};

}  // namespace nookery
