#include "backends/documents/DocumentFormatReaders.h"
#include "backends/documents/OpenedFile.h"
#include "backends/documents/RtfText.h"

namespace nookery {
namespace {

constexpr std::size_t pieceByteCount = 65536;

std::string tidied(const std::string& text, std::size_t maximumByteCount) {
    GatheredText gathered(maximumByteCount);
    gathered.addLines(text);
    return gathered.take();
}

}  // namespace

DocumentText readRichText(DocumentReading& reading) {
    const std::size_t maximumByteCount = reading.limits().maximumTextByteCount;
    const OpenedFile file = OpenedFile::open(reading);
    RtfText rtf(maximumByteCount);
    for (std::size_t offset = 0; offset < file.byteCount() && !rtf.isFull();
         offset += pieceByteCount) {
        reading.checkStop();
        rtf.feed(file.readAt(offset, pieceByteCount));
        if (rtf.isTooDeep()) reading.failDamaged("its groups are nested too deeply");
    }
    if (!rtf.isFull() && !rtf.isComplete()) reading.failDamaged("it ends in the middle");
    return {tidied(rtf.takeTitle(), maximumTitleByteCount),
            tidied(rtf.takeText(), maximumByteCount)};
}

}  // namespace nookery
