#include "backends/documents/ZipArchive.h"

#include <fmt/format.h>
#include <zip.h>

#include <algorithm>
#include <vector>

#include "backends/documents/OpenedFile.h"

namespace nookery {
namespace {

constexpr std::size_t freeExpansionByteCount = std::size_t{1} << 20;
constexpr std::uint64_t maximumPartCount = 65535;

std::uint64_t littleEndian(std::string_view bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = bytes.size(); i > 0; --i) {
        value = value << 8 | static_cast<unsigned char>(bytes[i - 1]);
    }
    return value;
}

/// Refuses an archive that lists more parts than any document has: libzip would hold them all in
/// memory before it says how many there are. Only the 64-bit form of the directory can list as
/// many.
void refuseHugeDirectory(const OpenedFile& file, const DocumentReading& reading) {
    constexpr std::size_t tailByteCount = 65535 + 22 + 20;
    const std::size_t tailStart = file.byteCount() - std::min(file.byteCount(), tailByteCount);
    const std::string tail = file.readAt(tailStart, tailByteCount);
    for (std::size_t at = 0; (at = tail.find("PK\x06\x07", at)) != std::string::npos; ++at) {
        if (at + 16 > tail.size()) break;
        const std::uint64_t place = littleEndian(std::string_view(tail).substr(at + 8, 8));
        if (place > file.byteCount()) continue;
        const std::string end = file.readAt(place, 40);
        if (end.size() < 40) continue;
        const std::uint64_t count = littleEndian(std::string_view(end).substr(32, 8));
        if (count > maximumPartCount) reading.fail("has more parts than any document needs.");
    }
}

}  // namespace

void ZipPart::Closer::operator()(zip_file* file) const { zip_fclose(file); }
void ZipArchive::Closer::operator()(zip* archive) const { zip_discard(archive); }

std::size_t ZipPart::read(std::span<char> buffer) {
    reading_->checkStop();
    const zip_int64_t count = zip_fread(file_.get(), buffer.data(), buffer.size());
    if (count < 0) {
        const char* how = zip_error_strerror(zip_file_get_error(file_.get()));
        reading_->failDamaged(fmt::format("a part cannot be unpacked ({})", how));
    }
    const auto byteCount = static_cast<std::size_t>(count);
    expandedByteCount_ += byteCount;
    reading_->countExpanded(byteCount);
    const double bound =
        static_cast<double>(packedByteCount_) * reading_->limits().maximumExpansionRatio;
    if (expandedByteCount_ > freeExpansionByteCount &&
        static_cast<double>(expandedByteCount_) > bound) {
        reading_->fail("unpacks to far more than a document would; it is not read.");
    }
    return byteCount;
}

std::string ZipPart::readAll(std::size_t maximumByteCount) {
    std::string bytes;
    std::vector<char> buffer(65536);
    while (bytes.size() < maximumByteCount) {
        const std::size_t count = read(buffer);
        if (count == 0) break;
        bytes.append(buffer.data(), count);
    }
    bytes.resize(std::min(bytes.size(), maximumByteCount));
    return bytes;
}

ZipArchive ZipArchive::open(DocumentReading& reading) {
    OpenedFile file = OpenedFile::open(reading);
    refuseHugeDirectory(file, reading);
    int error = 0;
    zip* archive = zip_fdopen(file.descriptor(), 0, &error);
    if (archive == nullptr) reading.failDamaged("it is not a whole zip archive");
    file.release();
    return {reading, archive};
}

std::optional<ZipPart> ZipArchive::find(const std::string& name) const {
    zip_stat_t status;
    zip_stat_init(&status);
    if (zip_stat(archive_.get(), name.c_str(), 0, &status) != 0) return std::nullopt;
    zip_file* file = zip_fopen_index(archive_.get(), status.index, 0);
    if (file == nullptr) {
        const int code = zip_error_code_zip(zip_get_error(archive_.get()));
        if (code == ZIP_ER_NOPASSWD || code == ZIP_ER_WRONGPASSWD || code == ZIP_ER_ENCRNOTSUPP) {
            reading_->failEncrypted();
        }
        reading_->failDamaged(
            fmt::format("its part {} cannot be opened ({})", name, zip_strerror(archive_.get())));
    }
    return ZipPart(*reading_, file, status.comp_size);
}

ZipPart ZipArchive::part(const std::string& name) const {
    auto found = find(name);
    if (!found) reading_->failDamaged(fmt::format("its part {} is missing", name));
    return std::move(*found);
}

std::string resolvedPartName(std::string_view base, std::string_view target) {
    std::vector<std::string_view> steps;
    const auto walk = [&steps](std::string_view path) {
        while (!path.empty()) {
            const std::string_view step = path.substr(0, path.find('/'));
            path.remove_prefix(std::min(path.size(), step.size() + 1));
            if (step == ".." && !steps.empty()) steps.pop_back();
            if (!step.empty() && step != "." && step != "..") steps.push_back(step);
        }
    };
    const std::size_t folderEnd = base.rfind('/');
    if (!target.starts_with('/') && folderEnd != std::string_view::npos) {
        walk(base.substr(0, folderEnd));
    }
    walk(target);
    return fmt::format("{}", fmt::join(steps, "/"));
}

}  // namespace nookery
