#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// The argument that starts a program as the reader of PDF documents for another one. Its main
/// function then calls `servePdf` and nothing else.
constexpr std::string_view pdfServiceArgument = "--serve-pdf";

/// Answers requests from the socket on standard input until its other end is closed. A request may
/// take half a minute of processor time and a bounded amount of memory; one that takes more ends
/// the process. Returns the exit status.
int servePdf();

/// A message on the socket: a list of byte strings. A request holds the question, the document's
/// path, and numbers. The first field of an answer is the failure, empty on success.
using PdfFields = std::vector<std::string>;

/// False when the other end is gone.
[[nodiscard]] bool sendFields(int socket, const PdfFields& fields);
/// None when the other end is gone or sent a message beyond all bounds. Throws Cancelled soon after
/// stop was requested.
std::optional<PdfFields> receiveFields(int socket, const std::stop_token& stop);

}  // namespace nookery
