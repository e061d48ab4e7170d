#include "mobilelink/PhoneMemory.h"

#include "foundation/Text.h"
#include "mobilelink/AttachmentPublisher.h"
#include "retrieval/text/ContentPieces.h"

namespace nookery {
namespace {

constexpr std::size_t searchableCharacterCount = 15'000;

const char* shownKind(CrumbKind kind) {
    switch (kind) {
        case CrumbKind::text:
            return "Text";
        case CrumbKind::url:
            return "Link";
        case CrumbKind::image:
            return "Image";
        case CrumbKind::file:
            return "File";
        case CrumbKind::activity:
            return "Activity";
    }
    return "";
}

}  // namespace

std::string phoneMemoryJson(const CrumbItem& item, bool hasAttachment) {
    const std::string searchable = joinedPieces(item.searchableText);
    OrderedJson memory{{"id", item.id.toString()},
                       {"title", item.title},
                       {"kind", shownKind(item.kind)},
                       {"createdAt", item.createdAt.secondsSince2001()},
                       {"details", item.note},
                       {"body", item.text.value_or("")},
                       {"searchable", firstCharacters(searchable, searchableCharacterCount)}};
    if (hasAttachment) memory["attachmentName"] = attachmentNameOf(item.id);
    return toJsonText(memory);
}

}  // namespace nookery
