#include "cli/views/Ids.h"

#include <algorithm>

namespace nookery::cli {
namespace {

std::size_t sharedLength(const std::string& left, const std::string& right) {
    const auto [end, unused] = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    return static_cast<std::size_t>(end - left.begin());
}

}  // namespace

ShortIds::ShortIds(std::vector<Uuid> ids) : sorted_(std::move(ids)) {
    std::sort(sorted_.begin(), sorted_.end());
}

std::string ShortIds::operator()(const Uuid& id) const {
    const std::string text = id.toString();
    std::size_t length = leastLength;
    const auto place = std::lower_bound(sorted_.begin(), sorted_.end(), id);
    if (place != sorted_.begin()) {
        length = std::max(length, sharedLength(text, std::prev(place)->toString()) + 1);
    }
    const auto after = place != sorted_.end() && *place == id ? std::next(place) : place;
    if (after != sorted_.end())
        length = std::max(length, sharedLength(text, after->toString()) + 1);
    return text.substr(0, length);
}

std::string upperCasedId(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return text;
}

}  // namespace nookery::cli
