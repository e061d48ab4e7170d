#include <gtest/gtest.h>

#include "conversation/Conversation.h"

namespace nookery::testing {
namespace {

std::string fromHex(std::string_view hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
    }
    return bytes;
}

/// A published test case of AES-256-GCM without additional data, laid out as the link's files are.
struct KnownAnswer {
    const char* keyBase64;
    const char* sealed;
    const char* plain;
};
constexpr KnownAnswer knownAnswers[] = {
    {"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=",
     "000000000000000000000000"
     "cea7403d4d606b6e074ec5d3baf39d18"
     "d0d1c8a799996bf0265b98b5d48ab919",
     "00000000000000000000000000000000"},
    {"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=",
     "000000000000000000000000"
     "530f8afbc74536b9a963b4f1c4cb738b",
     ""},
    {"/v/pkoZlcxxtao+UZzCDCP7/6ZKGZXMcbWqPlGcwgwg=",
     "cafebabefacedbaddecaf888"
     "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa"
     "8cb08e48590dbb3da7b08b1056828838c5f61e6393ba7a0abcc9f662898015ad"
     "b094dac5d93471bdec1a502270e3cc6c",
     "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a72"
     "1c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de657ba637b391aafd255"},
};

/// The simulator must be right by itself before it can say anything about the program.
class CompanionTest : public ::testing::Test {
  protected:
    void haveKey(const std::string& base64) const {
        home_.write("keys.json", R"({"com.kestrel.Nookery.Mac.SecurePairing.v1":)"
                                 R"({"paired-iphone-key":")" +
                                     base64 + "\"}}");
    }

    Outcome opened(const std::string& sealed) const {
        return conversation_.phone({"open", home_.write("sealed", sealed), home_ / "plain"});
    }

    Conversation conversation_;
    const TemporaryDirectory& home_ = conversation_.program().home;
};

TEST_F(CompanionTest, OpensWhatOthersSealed) {
    for (const KnownAnswer& known : knownAnswers) {
        haveKey(known.keyBase64);
        EXPECT_EQ(opened(fromHex(known.sealed)).status, 0);
        EXPECT_EQ(home_.read("plain"), fromHex(known.plain));
    }
}

TEST_F(CompanionTest, OpensWhatItSealedAndNothingChangedShortenedOrOfAnotherKey) {
    conversation_.phoneJson({"pair"});
    const std::string text = "text of the memory";
    conversation_.phoneJson({"seal", home_.write("text", text), home_ / "box"});
    const std::string box = home_.read("box");
    EXPECT_EQ(box.size(), text.size() + 12 + 16);
    EXPECT_EQ(opened(box).status, 0);
    EXPECT_EQ(home_.read("plain"), text);
    for (const std::size_t position : {0u, 11u, 12u, 29u, 30u, 45u}) {
        std::string changed = box;
        changed.at(position) = static_cast<char>(changed.at(position) ^ 1);
        EXPECT_EQ(opened(changed).status, 1) << position;
    }
    for (const std::size_t length : {0u, 27u, 28u, 45u}) {
        EXPECT_EQ(opened(box.substr(0, length)).status, 1) << length;
    }
    conversation_.phoneJson({"pair"});
    EXPECT_EQ(opened(box).status, 1);
    conversation_.phoneJson({"unpair"});
    EXPECT_EQ(opened(box).status, 1);
    haveKey("AAAA");
    EXPECT_EQ(opened(box).status, 1);
}

}  // namespace
}  // namespace nookery::testing
