#pragma once

#include <string>
#include <vector>

#include "relevance/Collection.h"

namespace nookery::relevance {

/// The names and short descriptions of all packages that this machine knows of: short memories
/// on many subjects. Throws Error when there is no package list.
std::vector<Record> packageDescriptions();

/// Known items: each question is two to four words of one record that, as they stand, at most ten
/// records hold together; one of them is then damaged by one edit. The record, and any with the
/// same text, is the answer. The same for the same seed.
Collection damagedWordSet(const std::vector<Record>& records, std::size_t questionCount,
                          unsigned seed);

/// Short personal notes, each with a question that says the same in other words; before the
/// `others`, which are no answers.
Collection paraphraseSet(const std::string& path, const std::vector<Record>& others);

}  // namespace nookery::relevance
