#pragma once

#include <istream>
#include <random>
#include <string>
#include <vector>

#include "records/CrumbItem.h"

namespace nookery::bench {

/// What the benchmark draws its memories from: the names and descriptions of a Debian package
/// list, as `apt-cache dumpavail` prints it.
struct PackageList {
    std::vector<std::string> names;
    std::vector<std::string> descriptions;
};

PackageList readPackages(std::istream& input);

/// One memory a package.
CrumbItemList packageMemories(const PackageList& packages);

/// Short memories: titles of 2 to 6 words, contents of 6 to 18, every fifth with a note. Words are
/// drawn as often as the descriptions use them; one in forty is a made-up name, code or number, so
/// that the vocabulary grows with the collection, as a person's does.
CrumbItemList shortMemories(const PackageList& packages, std::size_t count, std::uint64_t seed);

/// What a person would type to find memories again: one to four words of a memory, now and then
/// cut short or with a wrong letter.
std::vector<std::string> typedQueries(const CrumbItemList& memories, std::size_t count,
                                      std::uint64_t seed);

/// Every state of the search box while the queries are typed.
std::vector<std::string> keystrokesOf(const std::vector<std::string>& queries);

}  // namespace nookery::bench
