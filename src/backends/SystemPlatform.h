#pragma once

#include <memory>
#include <optional>

#include "foundation/FileSystem.h"
#include "platform/Platform.h"
#include "platform/work/ThreadQueues.h"

namespace nookery {

/// The places that a program must know before it can build its services.
struct SystemPlaces {
    Path configFolder;   ///< the settings lie in it
    Path userData;       ///< the desktop's data folder, which holds the trash
    Path programFolder;  ///< where the program lies, for what is shipped with it: nookery-reader,
                         ///< files
    std::optional<Path> cloudFolder{};   ///< in place of the setting
    std::optional<Path> keyStoreFile{};  ///< in place of the desktop's keyring
};

/// The services of the real machine, built once by `main`. Everything that uses the platform must
/// be destroyed before this is. Its destruction stops the queues first.
class SystemPlatform {
  public:
    /// Throws Error when the settings cannot be read, or when a service is missing without which
    /// the program cannot work. `log` outlives this. A missing sentence encoder is no error; a
    /// damaged one is logged when it is first needed.
    SystemPlatform(const SystemPlaces& places, Log& log);
    /// The same on the main thread's queue of a program that has one already.
    SystemPlatform(const SystemPlaces& places, Log& log, std::unique_ptr<WorkQueue> mainQueue);
    ~SystemPlatform();

    const Platform& platform() const;
    /// The main thread's queue, unless it was brought along: its owner runs it.
    LoopQueue& mainLoop();

  private:
    struct Services;
    std::unique_ptr<Services> services_;
};

}  // namespace nookery
