#include "support/TemporaryDirectory.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace nookery::testing {

namespace fs = std::filesystem;

namespace {

fs::path parentFor(Place place) {
    constexpr std::uintmax_t enoughByteCount = 48u << 20;
    const fs::path memory = "/dev/shm";
    std::error_code failure;
    const bool fits = fs::space(memory, failure).available >= enoughByteCount && !failure;
    return place == Place::memory && fits && ::access(memory.c_str(), W_OK) == 0
               ? memory
               : fs::temp_directory_path();
}

}  // namespace

TemporaryDirectory::TemporaryDirectory(Place place) {
    std::string name = (parentFor(place) / "nookery-test-XXXXXX").native();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed: " + name);
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

Path TemporaryDirectory::write(const Path& relative, std::string_view content) const {
    const Path target = path_ / relative;
    fs::create_directories(target.parent_path());
    std::ofstream(target, std::ios::binary) << content;
    return target;
}

std::string TemporaryDirectory::read(const Path& relative) const {
    std::ifstream file(path_ / relative, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + (path_ / relative).native());
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> TemporaryDirectory::filesBelow(const Path& folder) const {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(path_ / folder)) {
        if (!entry.is_directory()) found.push_back(entry.path().lexically_relative(path_ / folder));
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace nookery::testing
