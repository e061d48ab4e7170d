#pragma once

#include "platform/ContentType.h"

namespace nookery {

// What the reader program can read, known without asking it.

bool isReadableDocument(const ContentType& type);
bool isReadableImage(const ContentType& type);
/// Sounds and films.
bool isReadableMedia(const ContentType& type);

}  // namespace nookery
