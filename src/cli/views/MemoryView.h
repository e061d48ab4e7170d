#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/context/CommandContext.h"
#include "cli/views/Ids.h"
#include "collection/store/CrumbStore.h"
#include "foundation/Json.h"

/// How memories are named, shown and written as JSON.
namespace nookery::cli {

/// A memory as every command's JSON gives it: its keyed form, with tags and the group's name.
OrderedJson memoryJson(const CrumbStore& store, const CrumbItem& item);

/// Tells these memories' ids apart from those of all memories.
ShortIds shortIdsOf(const CrumbStore& store, std::span<const Uuid> ids);
ShortIds shortIdsOf(const CrumbStore& store, const CrumbItemList& items);

/// The memory whose id begins with `prefix`, in either case. Throws Error when there is none, or
/// more than one.
CrumbItemPointer findMemory(const CrumbStore& store, const std::string& prefix);
/// Each once, in the order given.
std::vector<Uuid> findMemories(const CrumbStore& store, const std::vector<std::string>& prefixes);

/// By name, exactly, or else by the beginning of its id. Throws Error as findMemory does.
CrumbGroup findGroup(const CrumbStore& store, const std::string& nameOrId);

/// "note", "link", "image", "file", "activity".
std::string_view spokenKind(CrumbKind kind);

/// The memory's title, or words in its place.
std::string shownTitle(const CrumbItem& item);

/// "note · 2 hours ago · #baking · in Recipes".
std::string memoryLine(const CrumbStore& store, const CrumbItem& item, Timestamp now);

/// One line a memory in aligned columns: id, title, kind, date, tags.
void printMemoryTable(CommandContext& context, const CrumbStore& store, const CrumbItemList& items);

}  // namespace nookery::cli
