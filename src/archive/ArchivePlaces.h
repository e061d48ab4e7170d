#pragma once

#include <string_view>

/// Names inside an archive, relative to its folder; docs/formats/archive.md describes them.
namespace nookery::archive {

inline constexpr std::string_view formatName = "NOOKERY Independent Archive";
inline constexpr int schemaVersion = 1;

inline constexpr std::string_view manifestName = "Collection.json";
inline constexpr std::string_view readMeName = "README.txt";
inline constexpr std::string_view originalsName = "Originals";
inline constexpr std::string_view externalOriginalsName = "ExternalOriginals";
inline constexpr std::string_view dataName = "Data";
inline constexpr std::string_view databaseName = "Data/crumb.sqlite3";
inline constexpr std::string_view receiptsDatabaseName = "Data/Coffer/coffer.sqlite3";
inline constexpr std::string_view receiptOriginalsName = "Receipts/Originals";
inline constexpr std::string_view localStateName = "Data/local-state.json";

/// The beginning of the name of the hidden folder in which an archive is built.
inline constexpr std::string_view stagingPrefix = ".crumb-export-";

/// The text of README.txt.
extern const std::string_view readMeText;

}  // namespace nookery::archive
