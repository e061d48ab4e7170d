#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Json.h"
#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"

namespace nookery {

enum class CrumbKind {
    text,      ///< typed or pasted text, notes, rich text
    url,       ///< a web link
    image,     ///< an image file held as a managed original
    file,      ///< any other file held as a managed original
    activity,  ///< an activity session received from the phone
};

/// "text", "url", "image", "file", "activity": as stored.
std::string_view rawValue(CrumbKind kind);
/// Exact, case-sensitive match of a raw value; anything else yields none.
std::optional<CrumbKind> kindFromRawValue(std::string_view raw);

/// One memory. A plain value: changes are made on a copy, and the store decides when the copy
/// replaces the record. It never holds the original's bytes.
struct CrumbItem {
    Uuid id;
    std::string title;
    CrumbKind kind = CrumbKind::text;
    Timestamp createdAt;                   ///< time of capture; lists are newest first by this
    std::optional<std::string> text;       ///< the body, or text captured with a link or file
    std::optional<std::string> urlString;  ///< the link of a url memory
    std::optional<std::string> filePath;   ///< absolute path of the managed or linked original
    std::string searchableText;            ///< what search reads besides title and note
    std::string note;                      ///< the user's own annotation
    std::optional<Uuid> groupID;           ///< none = ungrouped
    std::optional<Uuid> sourceItemID;      ///< the memory this one was derived from; may be gone

    bool operator==(const CrumbItem&) const = default;
};

/// Whether the memory is marked as secure: the key store keeps its value, or it was derived from
/// such a memory that is gone. It never leaves this computer.
bool isSecure(const CrumbItem& item);
void markSecure(CrumbItem& item);

/// Records are immutable once published, so that lists share them instead of copying.
using CrumbItemPointer = std::shared_ptr<const CrumbItem>;
using CrumbItemList = std::vector<CrumbItemPointer>;

struct CrumbGroup {
    Uuid id;
    std::string name;
    Timestamp createdAt;  ///< groups are listed oldest first by this

    bool operator==(const CrumbGroup&) const = default;
};

/// How a keyed form writes dates.
enum class KeyedDates {
    secondsSince2001,  ///< a floating-point number: the legacy library file, the mobile link
    iso8601,           ///< a string: the archive, the command line
};

/// The keyed form: the keys are the field names; absent optional fields are left out.
Json toKeyedForm(const CrumbItem& item, KeyedDates dates);
Json toKeyedForm(const CrumbGroup& group, KeyedDates dates);

/// Throws JsonError naming the key when a field that must be present is missing or a field has a
/// wrong type. Optional fields may be missing or null.
CrumbItem itemFromKeyedForm(const Json& object, KeyedDates dates);
CrumbGroup groupFromKeyedForm(const Json& object, KeyedDates dates);

}  // namespace nookery
