#include "cli/context/Places.h"

#include <fmt/format.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace nookery::cli {
namespace {

/// A base folder of the desktop; a relative value is to be ignored, as desktops do.
Path baseFolder(const Environment& environment, const char* variable, const char* below) {
    const auto value = environment(variable);
    if (value && Path(*value).is_absolute()) return *value;
    const auto home = environment("HOME");
    if (!home || !Path(*home).is_absolute()) {
        throw Error("There is no home folder: set HOME, or say --data-home DIR.");
    }
    return Path(*home) / below;
}

Path absolute(const Path& path, const Path& workingFolder) {
    return (workingFolder / path).lexically_normal();
}

std::optional<Path> keyStoreFile(const Environment& environment, const Path& workingFolder) {
    constexpr std::string_view filePrefix = "file:";
    const auto kind = environment("NOOKERY_KEYSTORE");
    if (!kind || *kind == "secret-service") return std::nullopt;
    if (kind->size() <= filePrefix.size() || !kind->starts_with(filePrefix)) {
        throw Error(
            "NOOKERY_KEYSTORE names no key store: it is \"secret-service\" or \"file:PATH\".");
    }
    return absolute(kind->substr(filePrefix.size()), workingFolder);
}

/// The system's folder for this user's login, which a program that runs beside it (from a timer,
/// over the network) is not told of; without one, a folder among the temporary files.
Path runtimeHome(const Environment& environment) {
    const auto folder = environment("XDG_RUNTIME_DIR");
    if (folder && Path(*folder).is_absolute()) return Path(*folder) / "nookery";
    const std::string usual = fmt::format("/run/user/{}", ::geteuid());
    struct stat status {};
    const bool isThere = ::stat(usual.c_str(), &status) == 0 && status.st_uid == ::geteuid();
    if (isThere) return Path(usual) / "nookery";
    return fmt::format("/tmp/nookery-{}", ::geteuid());
}

}  // namespace

Places findPlaces(const Environment& environment, const std::optional<std::string>& dataHome,
                  const Path& workingFolder) {
    const auto overridden = dataHome ? dataHome : environment("NOOKERY_DATA_HOME");
    const auto config = environment("NOOKERY_CONFIG_HOME");
    Places places;
    if (overridden) {
        if (overridden->empty()) throw Error("--data-home needs the name of a folder.");
        places.dataHome = absolute(*overridden, workingFolder);
        places.configHome = places.dataHome / "config";
        places.cacheHome = places.dataHome / "cache";
        places.userData = environment("HOME")
                              ? baseFolder(environment, "XDG_DATA_HOME", ".local/share")
                              : places.dataHome;
    } else {
        places.userData = baseFolder(environment, "XDG_DATA_HOME", ".local/share");
        places.dataHome = places.userData;
        if (!config)
            places.configHome = baseFolder(environment, "XDG_CONFIG_HOME", ".config") / "nookery";
        places.cacheHome = baseFolder(environment, "XDG_CACHE_HOME", ".cache") / "nookery";
    }
    if (config) places.configHome = absolute(*config, workingFolder);
    places.keyStoreFile = keyStoreFile(environment, workingFolder);
    if (const auto cloud = environment("NOOKERY_CLOUD_HOME")) {
        places.cloudHome = absolute(*cloud, workingFolder);
    }
    places.runtimeHome = runtimeHome(environment);
    return places;
}

Environment processEnvironment() {
    return [](const char* name) -> std::optional<std::string> {
        if (const char* value = ::getenv(name); value != nullptr && *value != '\0') return value;
        if (std::string_view(name) != "HOME") return std::nullopt;
        const passwd* user = ::getpwuid(::getuid());
        if (user == nullptr || user->pw_dir == nullptr) return std::nullopt;
        return user->pw_dir;
    };
}

}  // namespace nookery::cli
