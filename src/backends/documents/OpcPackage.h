#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "backends/documents/ZipArchive.h"

namespace nookery {

/// A link from one part of an office package to another.
struct OpcRelation {
    std::string id;
    std::string type;    ///< an address whose last step tells what the target is
    std::string target;  ///< the part's name in the archive
};

/// A zip archive whose parts name one another in relation lists: docx, xlsx, pptx.
class OpcPackage {
  public:
    /// Throws FileError or DocumentError.
    static OpcPackage open(DocumentReading& reading);

    const ZipArchive& archive() const { return archive_; }
    DocumentReading& reading() const { return archive_.reading(); }

    /// Where `part` points to within the package; "" means the package itself. Empty when the part
    /// has no list.
    std::vector<OpcRelation> relations(std::string_view part) const;

    /// The part that holds the document proper.
    std::string mainPart() const;

    /// The document's own title; empty when it has none.
    std::string title() const;

  private:
    explicit OpcPackage(ZipArchive archive) : archive_(std::move(archive)) {}

    ZipArchive archive_;
};

/// The relations' targets by their ids.
std::map<std::string, std::string> targetsById(const std::vector<OpcRelation>& relations);

/// The text of the first element named "title" in a part, trimmed; empty when either is missing.
std::string titleInPart(const ZipArchive& archive, const std::string& part);

}  // namespace nookery
