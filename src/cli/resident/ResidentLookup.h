#pragma once

#include <functional>
#include <memory>

#include "cli/resident/ResidentClient.h"

namespace nookery::cli {

/// Finds the process that has a library open and serves others.
class ResidentLookup {
  public:
    /// A descriptor connected to whoever listens at the place; -1 when nobody does.
    using Connect = std::function<int(const Path& place)>;

    ResidentLookup(const Places& places, FileSystem& files, const ContentDigester& digester,
                   Connect connect);

    bool isThere() const;
    /// The resident, or null when there is none. One of another version is asked to end, and waited
    /// for. Throws Cancelled when the person interrupts that.
    std::unique_ptr<ResidentClient> find(const Interrupts& interrupts) const;
    /// Asks the resident, of whatever version, to end, and waits for that. False when there is
    /// none. Throws Cancelled when the person interrupts that.
    bool end(const Interrupts& interrupts) const;

  private:
    std::unique_ptr<ResidentClient> connect(const Interrupts& interrupts) const;

    Path place_;
    Connect connect_;
};

}  // namespace nookery::cli
