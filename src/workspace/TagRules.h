#pragma once

#include <string>
#include <vector>

#include "workspace/MemoryPatch.h"

namespace nookery {

/// The tags as they are meant: without "#" and white space around them. Throws InvalidInput for one
/// of which nothing is left.
TagPatch plainTags(const TagPatch& typed);

/// Whether the tag is among these, in any case.
bool holdsTag(const std::vector<std::string>& tags, const std::string& tag);

/// Manual tags as the patch leaves them.
std::vector<std::string> patchedTags(const std::vector<std::string>& manual, const TagPatch& patch);

/// What a step is called that tags `whose`: "Tag \"Lemon cake\" #baking". Without the tags where
/// they must not be written down.
std::string tagStepName(const TagPatch& patch, const std::string& whose, bool maySayTags);

}  // namespace nookery
