#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <vector>

#include "cli/output/TextLayout.h"
#include "foundation/Error.h"
#include "foundation/Uuid.h"

/// Ids as people see and type them.
namespace nookery::cli {

/// As many characters as tell the given ids apart, eight at the least.
class ShortIds {
  public:
    static constexpr std::size_t leastLength = 8;

    explicit ShortIds(std::vector<Uuid> ids);
    std::string operator()(const Uuid& id) const;

  private:
    std::vector<Uuid> sorted_;
};

/// An id's text as it would be stored, whatever case it was typed in.
std::string upperCasedId(std::string text);

/// The only one of `things` whose id begins with `prefix`, in either case. Throws Error when there
/// is none, or more than one; `what` names the kind of thing.
template <typename Range, typename IdOf>
auto onlyOne(const Range& things, const std::string& prefix, std::string_view what, IdOf idOf) {
    const std::string wanted = upperCasedId(prefix);
    std::vector<typename Range::value_type> found;
    for (const auto& thing : things) {
        if (!wanted.empty() && idOf(thing).toString().starts_with(wanted)) found.push_back(thing);
    }
    if (found.empty()) {
        throw Error(fmt::format("There is no {} \"{}\".", what, printable(prefix)));
    }
    if (found.size() > 1) {
        throw Error(fmt::format("More than one {}'s id begins with \"{}\": give more of it.", what,
                                printable(prefix)));
    }
    return found.front();
}

}  // namespace nookery::cli
