#include "backends/documents/DocumentFormats.h"

#include <libxml/parser.h>

#include <algorithm>
#include <array>

#include "backends/documents/DocumentFormatReaders.h"

namespace nookery {
namespace {

struct Format {
    std::string_view mediaType;
    DocumentText (*read)(DocumentReading&);
};

constexpr std::array<Format, 10> formats = {{
    {"application/pdf", readPdf},
    {"application/vnd.openxmlformats-officedocument.wordprocessingml.document", readWordDocument},
    {"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", readWorkbook},
    {"application/vnd.openxmlformats-officedocument.presentationml.presentation", readPresentation},
    {"application/vnd.oasis.opendocument.text", readOpenDocumentText},
    {"application/vnd.oasis.opendocument.presentation", readOpenDocumentText},
    {"application/vnd.oasis.opendocument.spreadsheet", readOpenDocumentSpreadsheet},
    {"application/epub+zip", readElectronicBook},
    {"application/rtf", readRichText},
    {"message/rfc822", readMail},
}};

const Format* formatOf(const ContentType& type) {
    const auto* const found =
        std::find_if(formats.begin(), formats.end(),
                     [&](const Format& format) { return format.mediaType == type.mediaType; });
    return found == formats.end() ? nullptr : found;
}

class FormatTableReader final : public DocumentReader {
  public:
    FormatTableReader() { xmlInitParser(); }

    bool canRead(const ContentType& type) const override { return formatOf(type) != nullptr; }

    DocumentText read(const Path& path, const ContentType& type, const DocumentLimits& limits,
                      std::stop_token stop) const override {
        DocumentReading reading(path, limits, std::move(stop));
        reading.checkStop();
        const Format* format = formatOf(type);
        if (format == nullptr) reading.fail("is of a type that cannot be read: " + type.mediaType);
        return format->read(reading);
    }
};

}  // namespace

std::unique_ptr<DocumentReader> makeDocumentReader() {
    return std::make_unique<FormatTableReader>();
}

}  // namespace nookery
