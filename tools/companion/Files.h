#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace companion {

using Path = std::filesystem::path;
using Json = nlohmann::ordered_json;

/// What went wrong, for the person at the terminal.
class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The container that phone and computer share, in the folder of a cloud drive.
class Container {
  public:
    explicit Container(Path cloudDrive) : documents_(std::move(cloudDrive)) {
        documents_ /= "iCloud.com.kestrel.Nookery/Documents";
    }

    Path inbox() const { return documents_ / "Inbox"; }
    Path fieldReports() const { return documents_ / "NookeryFieldReports"; }
    Path memories() const { return documents_ / "NookerySecureSyncV1" / "MemoriesV1"; }
    Path edits() const { return documents_ / "NookerySecureSyncV1" / "EditsV1"; }

  private:
    Path documents_;
};

std::string readFile(const Path& path);
/// Appears whole or not at all; the folders above it are made.
void writeFile(const Path& path, const std::string& bytes);
void copyFile(const Path& from, const Path& to);
/// Throws Failure naming the file.
Json readJson(const Path& path);

/// A new random identifier in upper case.
std::string newIdentifier();

/// The time, as the sealed files hold it: seconds since 2001-01-01 UTC.
double secondsSince2001();
/// The time, as packages hold it.
std::string iso8601Now();

}  // namespace companion
