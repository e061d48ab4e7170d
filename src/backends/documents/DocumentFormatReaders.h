#pragma once

#include "backends/documents/DocumentReading.h"

namespace nookery {

// One function a format family, each in the file of its name. All throw what
// `DocumentReader::read` throws.

DocumentText readPdf(DocumentReading& reading);
DocumentText readWordDocument(DocumentReading& reading);
DocumentText readWorkbook(DocumentReading& reading);
DocumentText readPresentation(DocumentReading& reading);
DocumentText readOpenDocumentText(DocumentReading& reading);
DocumentText readOpenDocumentSpreadsheet(DocumentReading& reading);
DocumentText readElectronicBook(DocumentReading& reading);
DocumentText readRichText(DocumentReading& reading);
DocumentText readMail(DocumentReading& reading);

}  // namespace nookery
