#include "backends/media/AvMediaReader.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}

#include <algorithm>
#include <array>

#include "backends/media/FilmPicture.h"
#include "backends/reader/ReadableTypes.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::size_t longestDescription = 4000;

/// The tags in which makers describe a work, in the order shown.
constexpr std::array descriptionTags{"title", "artist",      "album_artist", "album",   "composer",
                                     "genre", "description", "synopsis",     "comment", "show"};
constexpr std::array dateTags{"com.apple.quicktime.creationdate", "creation_time", "date", "year"};
constexpr std::array placeTags{"com.apple.quicktime.location.ISO6709", "location"};

std::string tag(const AVDictionary* tags, const char* name) {
    const AVDictionaryEntry* entry = av_dict_get(tags, name, nullptr, 0);
    if (entry == nullptr) return {};
    const std::string value = toValidUtf8(entry->value);
    return std::string(trimmed(cutToBytes(value, longestDescription)));
}

template <typename Names>
std::string firstTag(const AVDictionary* tags, const Names& names) {
    for (const char* name : names) {
        if (std::string value = tag(tags, name); !value.empty()) return value;
    }
    return {};
}

std::string codecName(const AVStream* stream) {
    return stream == nullptr ? "" : avcodec_get_name(stream->codecpar->codec_id);
}

/// Ogg and others keep a work's tags with its sound.
void addDescriptions(MediaFacts& facts, const AVDictionary* tags) {
    for (const char* name : descriptionTags) {
        std::string value = tag(tags, name);
        auto& known = facts.descriptions;
        if (value.empty() || std::find(known.begin(), known.end(), value) != known.end()) continue;
        known.push_back(std::move(value));
    }
}

class AvMediaReader final : public MediaReader {
  public:
    AvMediaReader() { av_log_set_level(AV_LOG_QUIET); }

    bool canRead(const ContentType& type) const override { return isReadableMedia(type); }

    MediaFacts facts(const Path& path, std::stop_token stop) const override {
        const MediaFile file(path, std::move(stop));
        const AVStream* film = file.best(AVMEDIA_TYPE_VIDEO);
        const AVStream* sound = file.best(AVMEDIA_TYPE_AUDIO);
        if (film == nullptr && sound == nullptr) file.fail("holds neither sound nor film");
        MediaFacts facts;
        if (file->duration > 0) {
            facts.durationSeconds = static_cast<double>(file->duration) / AV_TIME_BASE;
        }
        facts.videoCodec = codecName(film);
        facts.audioCodec = codecName(sound);
        if (film != nullptr) {
            facts.width = film->codecpar->width;
            facts.height = film->codecpar->height;
            if (quarterTurns(*film) % 2 == 1) std::swap(facts.width, facts.height);
        }
        facts.recorded = firstTag(file->metadata, dateTags);
        facts.place = firstTag(file->metadata, placeTags);
        addDescriptions(facts, file->metadata);
        if (sound != nullptr) addDescriptions(facts, sound->metadata);
        return facts;
    }

    Picture cover(const Path& path, int longestSide, std::stop_token stop) const override {
        const MediaFile file(path, std::move(stop));
        for (const AVStream* stream : {file.cover(), file.best(AVMEDIA_TYPE_VIDEO)}) {
            if (stream == nullptr) continue;
            Picture picture = pictureOf(file, *stream, longestSide);
            if (!picture.isEmpty()) return picture;
        }
        return {};
    }
};

}  // namespace

std::unique_ptr<MediaReader> makeMediaReader() { return std::make_unique<AvMediaReader>(); }

}  // namespace nookery
