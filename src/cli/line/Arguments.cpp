#include "cli/line/Arguments.h"

#include <fmt/format.h>

#include <charconv>

#include "foundation/Text.h"

namespace nookery::cli {

std::string Arguments::positional(std::size_t index) const {
    return index < positionals_.size() ? positionals_[index] : std::string();
}

std::vector<std::string> Arguments::positionalsFrom(std::size_t index) const {
    if (index >= positionals_.size()) return {};
    return {positionals_.begin() + static_cast<std::ptrdiff_t>(index), positionals_.end()};
}

std::optional<std::string> Arguments::value(const std::string& option) const {
    const auto all = values(option);
    return all.empty() ? std::nullopt : std::optional(all.front());
}

std::vector<std::string> Arguments::values(const std::string& option) const {
    const auto found = options_.find(option);
    return found == options_.end() ? std::vector<std::string>() : found->second;
}

std::optional<std::string> Arguments::text(const std::string& option) const {
    const auto given = value(option);
    return given ? std::optional(toValidUtf8(*given)) : std::nullopt;
}

std::size_t Arguments::count(const std::string& option, std::size_t otherwise) const {
    const auto given = value(option);
    if (!given) return otherwise;
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(given->data(), given->data() + given->size(), number);
    if (error != std::errc() || end != given->data() + given->size() || number == 0) {
        throw UsageError(fmt::format("--{} needs a whole number from 1 on, not \"{}\".", option,
                                     toValidUtf8(*given)));
    }
    return number;
}

}  // namespace nookery::cli
