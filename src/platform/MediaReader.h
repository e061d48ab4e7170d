#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "foundation/Error.h"
#include "foundation/FileSystem.h"
#include "platform/ContentType.h"
#include "platform/Picture.h"

namespace nookery {

/// A sound or film that cannot be read: damaged, or of no known format. The description says so.
class MediaError : public Error {
  public:
    using Error::Error;
};

/// What a sound or film says about itself. A missing fact is none, 0 or empty.
struct MediaFacts {
    std::optional<double> durationSeconds{};
    std::string videoCodec{};
    std::string audioCodec{};
    int width = 0;  ///< of the upright picture
    int height = 0;
    std::string recorded{};  ///< date of recording or release, as written
    std::string place{};     ///< of recording, as written
    /// What the maker wrote: title, artist, album, genre, comment and the like; valid UTF-8, each
    /// once, none empty.
    std::vector<std::string> descriptions{};
};

/// Reads sounds and films. Any thread; several at once. Opens no other file than the one named.
class MediaReader {
  public:
    virtual ~MediaReader() = default;

    /// Whether this is a sound or film.
    virtual bool canRead(const ContentType& type) const = 0;

    /// Throws MediaError, FileError, or Cancelled when stop is requested.
    virtual MediaFacts facts(const Path& path, std::stop_token stop) const = 0;

    /// The cover that the file carries, or else a picture from the film's first part, upright, its
    /// longer side at most `longestSide`; empty for a sound without a cover. Throws as `facts`.
    virtual Picture cover(const Path& path, int longestSide, std::stop_token stop) const = 0;
};

}  // namespace nookery
