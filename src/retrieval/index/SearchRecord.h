#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "records/CrumbItem.h"

namespace nookery {

/// The searched attributes of a memory that its CrumbItem does not hold.
struct MemoryAttributes {
    std::vector<std::string> manualTags;  ///< in the user's spelling
    std::vector<std::string> people;      ///< names confirmed in the memory's faces
    std::string groupName;                ///< empty when ungrouped
};

/// The searchable text of a memory.
struct SearchRecord {
    std::string title;  ///< normal form
    std::string note;   ///< normal form
    /// Normal form of the memory's text and of its extracted contents, without facts.
    std::string searchable;

    /// All fields in the form that keeps all scripts, a line for each: title, note, contents, link,
    /// file name, group, facts about the original, each tag, each person. No match reaches across
    /// the end of a line.
    std::string combined;

    std::set<std::string> tags;    ///< lower-case, without "#": hashtags and manual tags
    std::set<std::string> people;  ///< lower-case names
};

/// Makes the record of a memory, without any internal markers. Any thread.
SearchRecord makeSearchRecord(const CrumbItem& item, const MemoryAttributes& attributes);

/// The same into a record whose memory is used again, for building an index.
void writeSearchRecord(const CrumbItem& item, const MemoryAttributes& attributes,
                       SearchRecord& record);

/// The tags of a memory in comparable form: the hashtags of its title and note, and the manual
/// tags.
std::set<std::string> tagsOf(const CrumbItem& item, const std::vector<std::string>& manualTags);

}  // namespace nookery
