#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "records/CrumbItem.h"

namespace nookery {

/// What search reads of a memory beside its record.
struct MemoryAttributes {
    std::vector<std::string> manualTags;  ///< in the user's spelling
    std::vector<std::string> people;      ///< names confirmed in the memory's faces
    std::string groupName;                ///< empty when ungrouped
};

/// The text that a memory is searched by.
struct SearchRecord {
    std::string title;  ///< normal form
    std::string note;   ///< normal form
    /// The memory's text and its extracted contents without facts, normal form.
    std::string searchable;

    /// All fields in the form that keeps all scripts, one a line: title, note, contents, link,
    /// file name, group, facts about the original, tags, people. No match reaches across a line's
    /// end.
    std::string combined;

    std::set<std::string> tags;    ///< lower-case, without "#": hashtags and manual tags
    std::set<std::string> people;  ///< lower-case names
};

/// The record of a memory. Internal markers leave no trace in it. Any thread.
SearchRecord makeSearchRecord(const CrumbItem& item, const MemoryAttributes& attributes);

/// The same into a record that keeps its memory, for building an index.
void writeSearchRecord(const CrumbItem& item, const MemoryAttributes& attributes,
                       SearchRecord& record);

/// The tags of a memory: its title's and note's hashtags and the manual ones, comparable.
std::set<std::string> tagsOf(const CrumbItem& item, const std::vector<std::string>& manualTags);

}  // namespace nookery
