#include "backends/media/AvMediaReader.h"

#include <gtest/gtest.h>

#include <cstring>

#include "backends/BothWays.h"
#include "support/TemporaryDirectory.h"

namespace nookery {
namespace {

using testing::TemporaryDirectory;

std::string number(std::uint32_t value, int byteCount) {
    std::string bytes(static_cast<std::size_t>(byteCount), '\0');
    for (int i = 0; i < byteCount; ++i) {
        bytes[static_cast<std::size_t>(i)] = static_cast<char>(value >> (8 * i));
    }
    return bytes;
}

std::string chunk(const std::string& name, const std::string& content) {
    return name + number(static_cast<std::uint32_t>(content.size()), 4) + content;
}

/// Two seconds of silence at 8,000 samples a second, with a title and an artist.
std::string sound() {
    const std::string format = number(1, 2) + number(1, 2) + number(8000, 4) + number(16000, 4) +
                               number(2, 2) + number(16, 2);
    const std::string tags = "INFO" + chunk("INAM", std::string("Lark song\0", 10)) +
                             chunk("IART", std::string("Field\0", 6));
    return "RIFF" + number(0xFFFFFFFF, 4) + "WAVE" + chunk("fmt ", format) + chunk("LIST", tags) +
           chunk("data", std::string(32000, '\0'));
}

/// Two seconds of white, 64 x 32.
std::string film() {
    std::string bytes = "YUV4MPEG2 W64 H32 F5:1 Ip A1:1 C420\n";
    for (int i = 0; i < 10; ++i) {
        bytes += "FRAME\n" + std::string(64 * 32, static_cast<char>(235)) +
                 std::string(64 * 32 / 2, static_cast<char>(128));
    }
    return bytes;
}

class MediaReaderTest : public ::testing::TestWithParam<testing::Way> {
  protected:
    TemporaryDirectory folder_;
    std::unique_ptr<MediaReader> reader_ = GetParam() == testing::Way::direct
                                               ? makeMediaReader()
                                               : makeIsolatedMedia(testing::testReaders());
};
NOOKERY_BOTH_WAYS(MediaReaderTest);

TEST_P(MediaReaderTest, ASoundTellsItsLengthAndItsTags) {
    const Path path = folder_.write("lark.wav", sound());
    const MediaFacts facts = reader_->facts(path, {});
    EXPECT_NEAR(facts.durationSeconds.value(), 2, 0.01);
    EXPECT_EQ(facts.audioCodec, "pcm_s16le");
    EXPECT_EQ(facts.videoCodec, "");
    EXPECT_EQ(facts.descriptions, (std::vector<std::string>{"Lark song", "Field"}));
    EXPECT_TRUE(reader_->cover(path, 100, {}).isEmpty());
}

TEST_P(MediaReaderTest, AFilmTellsItsSizeAndShowsAPicture) {
    const Path path = folder_.write("film.y4m", film());
    const MediaFacts facts = reader_->facts(path, {});
    EXPECT_EQ(facts.videoCodec, "rawvideo");
    EXPECT_EQ(facts.width, 64);
    EXPECT_EQ(facts.height, 32);
    const Picture cover = reader_->cover(path, 16, {});
    EXPECT_EQ(cover.width, 16);
    EXPECT_EQ(cover.height, 8);
    ASSERT_EQ(cover.pixels.size(), 3U * 16 * 8);
    EXPECT_GT(cover.pixels.front(), 250);
    EXPECT_GT(cover.pixels.back(), 250);
}

TEST_P(MediaReaderTest, DamageListsOfFilesAndAStopAreToldApart) {
    EXPECT_THROW(reader_->facts(folder_.write("a.mp4", "not a film at all"), {}), MediaError);
    EXPECT_THROW(reader_->facts(folder_.write("b.wav", sound().substr(0, 30)), {}), MediaError);
    EXPECT_THROW(reader_->facts(folder_ / "missing.wav", {}), FileError);
    EXPECT_THROW(reader_->facts(folder_.path(), {}), FileError);
    // A list that names a file beside it must not make the reader open that.
    const Path sample = folder_.write("lark.wav", sound());
    const Path list = folder_.write(
        "list.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\nlark.wav\n#EXT-X-ENDLIST\n");
    EXPECT_THROW(reader_->facts(list, {}), MediaError);
    EXPECT_FALSE(reader_->canRead({"application/vnd.apple.mpegurl"}));
    EXPECT_TRUE(reader_->canRead({"video/mp4"}));
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(reader_->facts(sample, stop.get_token()), Cancelled);
}

}  // namespace
}  // namespace nookery
