#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// The argument with which a program is started as the reader of PDF documents for another one. Its
/// main function then does nothing but `servePdf`.
constexpr std::string_view pdfServiceArgument = "--serve-pdf";

/// Answers requests that come over the socket on standard input, until its other end is closed.
/// Each may take half a minute of work and a bounded share of memory; one that takes more ends the
/// process. Returns the exit status.
int servePdf();

/// What is said over the socket: lists of byte strings. A request names what is asked, the
/// document, and numbers; the first field of an answer is a failure, empty when all is well.
using PdfFields = std::vector<std::string>;

/// Answers whether the other end took it all.
bool sendFields(int socket, const PdfFields& fields);
/// None when the other end is gone, or sent what cannot be meant. Throws Cancelled soon after stop
/// was requested.
std::optional<PdfFields> receiveFields(int socket, const std::stop_token& stop);

}  // namespace nookery
