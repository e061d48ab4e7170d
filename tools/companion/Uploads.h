#pragma once

#include <string>
#include <vector>

#include "Files.h"

namespace companion {

// Packages that the phone uploads unsealed. Each answers with the package's place and identifier;
// what the package names is written before the manifest that names it. All throw Failure.

/// A note with photos, into the inbox.
Json uploadNote(const Container& container, const std::string& text,
                const std::vector<Path>& photos);

/// An activity session, into the inbox: the manifest as it is, with the files that its events name,
/// which lie beside it.
Json uploadActivity(const Container& container, const Path& manifest);

/// A field report: `report` holds the fields, of which those that are missing are made up.
Json uploadReport(const Container& container, const Path& report,
                  const std::vector<Path>& attachments);

}  // namespace companion
