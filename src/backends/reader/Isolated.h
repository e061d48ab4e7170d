#pragma once

#include <memory>

#include "backends/reader/ReaderPool.h"
#include "platform/DocumentReader.h"
#include "platform/ImageReader.h"
#include "platform/MediaReader.h"
#include "platform/PageReader.h"
#include "platform/PdfWriter.h"
#include "platform/PictureEncoder.h"
#include "platform/TextRecognizer.h"
#include "platform/WebFetcher.h"

namespace nookery {

// The platform's services as the program has them: each asks a reader process, which alone links
// the libraries that decode. They promise what the platform's headers say. A file that crashes such
// a library, or takes more time or memory than any legitimate one, is one failed request with a
// message that names the file. The readers' answers are checked: a process that a hostile file has
// taken over can give wrong texts and pictures, nothing else. The pool outlives all of them; any
// thread may use them, several at once.

std::unique_ptr<DocumentReader> makeIsolatedDocuments(ReaderPool& pool);
std::unique_ptr<PageReader> makeIsolatedPages(ReaderPool& pool);
std::unique_ptr<ImageReader> makeIsolatedImages(ReaderPool& pool);
std::unique_ptr<PictureEncoder> makeIsolatedPictureEncoder(ReaderPool& pool);
std::unique_ptr<MediaReader> makeIsolatedMedia(ReaderPool& pool);
/// Null when no language data is installed.
std::unique_ptr<TextRecognizer> makeIsolatedTextRecognizer(ReaderPool& pool, FileSystem& files);
std::unique_ptr<PdfWriter> makeIsolatedPdfWriter(ReaderPool& pool);

/// What the web fetcher accepts of a page, decompressed; the rest is left out.
constexpr std::size_t longestWebPage = std::size_t{8} << 20;
std::unique_ptr<WebFetcher> makeIsolatedWebFetcher(ReaderPool& pool);

}  // namespace nookery
