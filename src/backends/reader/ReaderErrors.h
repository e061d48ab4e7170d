#pragma once

#include <exception>

#include "backends/reader/ReaderMessage.h"
#include "foundation/FileSystem.h"

namespace nookery {

// A failure keeps its type and its words on the way from the reader process to the program.

/// Begins an answer of success.
void writeSuccess(FieldWriter& writer);
void writeFailure(FieldWriter& writer, const std::exception& error);

/// Reads the beginning of an answer. Throws what the reader wrote: one of the platform's errors, a
/// FileError about `path`, another Error, or std::bad_alloc. Throws MalformedMessage when it is
/// neither that nor success.
void throwWhatFailed(FieldReader& reader, const Path& path);

}  // namespace nookery
