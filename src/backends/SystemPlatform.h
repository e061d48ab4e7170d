#pragma once

#include <memory>
#include <optional>

#include "foundation/FileSystem.h"
#include "platform/Platform.h"
#include "platform/work/ThreadQueues.h"

namespace nookery {

/// What a program must know before it can build its world.
struct SystemPlaces {
    Path configFolder;   ///< the settings lie in it
    Path userData;       ///< the desktop's own data folder, for the trash
    Path programFolder;  ///< where the program itself lies, for the files shipped with it
    std::optional<Path> cloudFolder{};   ///< in place of the setting
    std::optional<Path> keyStoreFile{};  ///< in place of the desktop's keyring
    /// Started for reading PDF documents (IsolatedPdf.h); none for reading them in this process.
    std::optional<Path> pdfProgram{};
};

/// The real world, built once by `main`. Whatever was given the platform must be destroyed before
/// this is; its queues are stopped first.
class SystemPlatform {
  public:
    /// Throws Error when the settings cannot be read, or a part that no program works without is
    /// missing. `log` outlives this. A missing sentence encoder is no error; a damaged one is
    /// logged and left out.
    SystemPlatform(const SystemPlaces& places, Log& log);
    ~SystemPlatform();

    const Platform& platform() const;
    /// The main thread's queue: its owner runs it.
    LoopQueue& mainLoop();

  private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace nookery
