#pragma once

#include <QIODevice>
#include <exception>
#include <vector>

#include "foundation/FileSystem.h"

namespace nookery {

/// Writes the bytes of Qt's document into a file, with a fixed date of creation in place of the
/// present one, so that the same drawing gives the same bytes. Throws nothing through Qt's code: it
/// keeps the first failure for `check` to throw.
class PdfByteSink final : public QIODevice {
  public:
    explicit PdfByteSink(WritableFile& file);

    /// Writes what is still held back. Throws what went wrong at any time.
    void finish();
    void check() const;

    bool isSequential() const override { return true; }

  protected:
    qint64 readData(char* data, qint64 maximumByteCount) override;
    qint64 writeData(const char* data, qint64 byteCount) override;

  private:
    QByteArray withFixedDate(const QByteArray& piece);
    QByteArray renumbered(const QByteArray& piece) const;
    QByteArray shifted(const QByteArray& place) const;
    void flush();

    WritableFile& file_;
    std::vector<std::byte> held_;
    std::exception_ptr failure_;
    qint64 takenByteCount_ = 0;
    bool zoneFollows_ = false;
    /// How many bytes the date's time zone was longer than the fixed one: places behind it move up.
    qint64 removedByteCount_ = 0;
    qint64 removedAt_ = 0;
};

}  // namespace nookery
