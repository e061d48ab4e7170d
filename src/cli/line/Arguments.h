#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Error.h"

namespace nookery::cli {

/// The command line cannot be understood; the message says what is wrong with it.
class UsageError : public Error {
  public:
    using Error::Error;
};

/// What was given to a command: words by position, and options by name.
class Arguments {
  public:
    Arguments() = default;
    Arguments(std::vector<std::string> positionals,
              std::map<std::string, std::vector<std::string>> options)
        : positionals_(std::move(positionals)), options_(std::move(options)) {}

    const std::vector<std::string>& positionals() const { return positionals_; }
    /// The `index`-th word, as its bytes came; empty when there are fewer.
    std::string positional(std::size_t index) const;
    std::vector<std::string> positionalsFrom(std::size_t index) const;

    bool has(const std::string& option) const { return options_.contains(option); }
    std::optional<std::string> value(const std::string& option) const;
    std::vector<std::string> values(const std::string& option) const;
    /// The option's value as text, valid UTF-8.
    std::optional<std::string> text(const std::string& option) const;
    /// A whole number from 1 on. Throws UsageError for anything else.
    std::size_t count(const std::string& option, std::size_t otherwise) const;

  private:
    std::vector<std::string> positionals_;
    std::map<std::string, std::vector<std::string>> options_;  ///< switches have no values
};

}  // namespace nookery::cli
