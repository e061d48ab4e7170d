#pragma once

#include <memory>
#include <string>

#include "foundation/Timestamp.h"

namespace nookery {

/// The names of a time zone and of a language, as this process was started with them.
struct RegionNames {
    std::string timeZone;  ///< "Europe/Berlin", or what TZ holds
    std::string locale;    ///< "de_DE"

    bool operator==(const RegionNames&) const = default;
};

/// Those of the process. Any thread.
RegionNames machineRegion();

/// The time zone and the language that a person reads dates in. Immutable: any thread.
class Region {
  public:
    /// Throws Error, which names the zone, when there is none of this name.
    explicit Region(const RegionNames& names);

    CalendarFields fields(Timestamp date) const;
    std::string abbreviatedDay(Timestamp date) const;

  private:
    struct Held;
    std::shared_ptr<const Held> held_;
};

/// While it lives, the local dates of this thread are those of the region; null: the machine's.
class RegionScope {
  public:
    explicit RegionScope(const Region* region);
    ~RegionScope();
    RegionScope(const RegionScope&) = delete;
    RegionScope& operator=(const RegionScope&) = delete;

    /// The region of the calling thread; null: the machine's.
    static const Region* current();

  private:
    const Region* before_;
};

}  // namespace nookery
