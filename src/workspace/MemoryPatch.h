#pragma once

#include <optional>
#include <string>
#include <vector>

namespace nookery {

/// A text that a person changed, and what it said when they began.
struct TextPatch {
    std::string base;
    std::string value;
};

/// The fields of a memory that change; the others stay as they are.
struct MemoryPatch {
    std::optional<TextPatch> title{};
    std::optional<TextPatch> note{};
    std::optional<TextPatch> text{};  ///< of a note; an absent text has the base ""

    bool isEmpty() const { return !title && !note && !text; }
};

/// A field that has changed since its base, and was left alone.
struct FieldConflict {
    std::string field;    ///< "title", "note", "text"
    std::string current;  ///< what it says now
    bool operator==(const FieldConflict&) const = default;
};

/// What became of a patch: what is in conflict was not changed, the rest was.
struct PatchOutcome {
    std::vector<FieldConflict> conflicts{};
};

/// Tags as typed, with or without "#".
struct TagPatch {
    std::vector<std::string> added{};
    std::vector<std::string> removed{};
};

}  // namespace nookery
