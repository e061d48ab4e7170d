#include "backends/pdf/PdfByteSink.h"

namespace nookery {
namespace {

constexpr std::size_t bufferByteCount = std::size_t{1} << 16;

// The pieces in which Qt writes the date and the cross-reference table; each comes in one call.
constexpr QByteArrayView dateKey = "\n/CreationDate (D:";
constexpr QByteArrayView fixedDate = "20000101000000";
constexpr QByteArrayView fixedZone = "Z)\n";
constexpr QByteArrayView tableEntryEnd = " 00000 n \n";
constexpr qsizetype placeDigits = 10;
constexpr QByteArrayView trailerBegin = "trailer\n";
constexpr QByteArrayView tablePlaceKey = "startxref\n";

}  // namespace

PdfByteSink::PdfByteSink(WritableFile& file) : file_(file) {
    held_.reserve(bufferByteCount);
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

void PdfByteSink::finish() {
    check();
    flush();
}

void PdfByteSink::check() const {
    if (failure_) std::rethrow_exception(failure_);
}

qint64 PdfByteSink::readData(char*, qint64) { return -1; }

qint64 PdfByteSink::writeData(const char* data, qint64 byteCount) {
    if (failure_) return -1;
    try {
        const QByteArray piece =
            renumbered(withFixedDate(QByteArray::fromRawData(data, byteCount)));
        const auto bytes = std::as_bytes(std::span(piece.constData(), piece.size()));
        held_.insert(held_.end(), bytes.begin(), bytes.end());
        takenByteCount_ += byteCount;
        if (held_.size() >= bufferByteCount) flush();
    } catch (const std::exception&) {
        failure_ = std::current_exception();
        return -1;
    }
    return byteCount;
}

QByteArray PdfByteSink::withFixedDate(const QByteArray& piece) {
    if (zoneFollows_) {
        zoneFollows_ = false;
        removedByteCount_ = piece.size() - fixedZone.size();
        removedAt_ = takenByteCount_;
        return fixedZone.toByteArray();
    }
    if (!piece.startsWith(dateKey)) return piece;
    zoneFollows_ = true;
    return dateKey.toByteArray() + fixedDate.toByteArray();
}

QByteArray PdfByteSink::renumbered(const QByteArray& piece) const {
    if (piece.size() == placeDigits + tableEntryEnd.size() && piece.endsWith(tableEntryEnd)) {
        return shifted(piece.first(placeDigits)).rightJustified(placeDigits, '0') +
               tableEntryEnd.toByteArray();
    }
    const qsizetype key = piece.startsWith(trailerBegin) ? piece.indexOf(tablePlaceKey) : -1;
    if (key < 0) return piece;
    const qsizetype begin = key + tablePlaceKey.size();
    const qsizetype end = piece.indexOf('\n', begin);
    return piece.first(begin) + shifted(piece.mid(begin, end - begin)) + piece.mid(end);
}

QByteArray PdfByteSink::shifted(const QByteArray& place) const {
    const qint64 original = place.trimmed().toLongLong();
    return QByteArray::number(original < removedAt_ ? original : original - removedByteCount_);
}

void PdfByteSink::flush() {
    file_.write(held_);
    held_.clear();
}

}  // namespace nookery
