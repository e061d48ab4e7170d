#include "workspace/ThumbnailReading.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "collection/enrichment/Thumbnails.h"
#include "platform/Clock.h"
#include "platform/ContentType.h"
#include "platform/ImageReader.h"
#include "platform/Log.h"
#include "platform/PictureEncoder.h"

namespace nookery {
namespace {

/// How often a file's use is noted in its time.
constexpr double useIntervalSeconds = 86400;

class Reading {
  public:
    Reading(const Uuid& id, Path original, const Platform& platform, const LibraryLayout& layout,
            const std::stop_token& stop)
        : id_(id),
          original_(std::move(original)),
          platform_(platform),
          layout_(layout),
          stop_(stop) {}

    ThumbnailReading run(const std::optional<FileStatus>& known) {
        reading_.original = platform_.files.status(original_);
        if (!reading_.original) return reading_;
        reading_.isKnown = known && known->sameContentMarks(*reading_.original);
        if (reading_.isKnown) return reading_;
        place_ = thumbnailPath(layout_, id_, *reading_.original);
        // Stands where the original cannot be shown.
        noPicture_ = Path(place_).replace_extension(".none");
        if (platform_.files.status(noPicture_)) return reading_;
        if (!readFromCache()) makeOfOriginal();
        return reading_;
    }

  private:
    bool readFromCache() {
        const auto cached = platform_.files.status(place_);
        if (!cached) return false;
        try {
            show(platform_.images.read(place_, ContentType{"image/jpeg"}, thumbnailSide,
                                       ImageLimits{}, stop_));
            noteUse(*cached);
            return true;
        } catch (const Cancelled&) {
            throw;
        } catch (const Error&) {
            return false;  // it is made again
        }
    }

    void noteUse(const FileStatus& cached) {
        const double now = platform_.clock.now().secondsSince1970;
        const double used = static_cast<double>(cached.modifiedNanoseconds) / 1e9;
        if (now - used < useIntervalSeconds) return;
        platform_.files.setModified(place_, static_cast<std::int64_t>(now * 1e9));
    }

    void makeOfOriginal() {
        Picture picture;
        try {
            picture = pictureOfOriginal(original_, thumbnailSide, platform_, stop_);
        } catch (const Cancelled&) {
            throw;
        } catch (const FileError&) {
            throw;  // it may be read another time
        } catch (const Error& error) {
            platform_.log.line("NOOKERY thumbnail error: " + displayName(original_) + ": " +
                               error.description());
        }
        if (!picture.isEmpty()) show(scaledDown(picture, thumbnailSide));
        try {
            keepInCache();
        } catch (const Error& error) {
            // The picture is shown all the same.
            platform_.log.line("NOOKERY thumbnail error: " + error.description());
        }
    }

    void show(Picture picture) {
        reading_.picture = std::make_shared<const Picture>(std::move(picture));
    }

    void keepInCache() {
        if (!reading_.picture) return writeToCache(noPicture_, "", platform_);
        const std::string bytes = platform_.pictureEncoder.jpeg(*reading_.picture);
        writeToCache(place_, bytes, platform_);
        reading_.writtenByteCount = bytes.size();
    }

    Uuid id_;
    Path original_;
    const Platform& platform_;
    const LibraryLayout& layout_;
    const std::stop_token& stop_;
    Path place_;
    Path noPicture_;
    ThumbnailReading reading_;
};

}  // namespace

ThumbnailReading readThumbnail(const Uuid& id, const Path& original,
                               const std::optional<FileStatus>& known, const Platform& platform,
                               const LibraryLayout& layout, const std::stop_token& stop) {
    return Reading(id, original, platform, layout, stop).run(known);
}

void tidyThumbnails(const LibraryLayout& layout, FileSystem& files, std::uint64_t byteCount) {
    struct CachedFile {
        Path path;
        std::uint64_t byteCount = 0;
        std::int64_t lastUse = 0;
    };
    if (!files.status(layout.thumbnails())) return;
    std::vector<CachedFile> all;
    std::uint64_t total = 0;
    for (const DirectoryEntry& entry : files.list(layout.thumbnails())) {
        const Path path = layout.thumbnails() / entry.name;
        const auto status = files.status(path);
        if (!status || status->type != FileType::regular) continue;
        all.push_back(
            {path, static_cast<std::uint64_t>(status->byteCount), status->modifiedNanoseconds});
        total += all.back().byteCount;
    }
    if (total <= byteCount) return;
    std::sort(all.begin(), all.end(),
              [](const auto& a, const auto& b) { return a.lastUse < b.lastUse; });
    for (const CachedFile& file : all) {
        if (total <= byteCount * 9 / 10) return;
        if (files.status(file.path)) files.removeFile(file.path);
        total -= file.byteCount;
    }
}

}  // namespace nookery
