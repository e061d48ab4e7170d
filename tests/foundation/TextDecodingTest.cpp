#include "foundation/TextDecoding.h"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <random>

#include "foundation/Text.h"

namespace nookery {
namespace {

std::string encoded(const std::string& text, const char* encoding) {
    UErrorCode status = U_ZERO_ERROR;
    std::string bytes(4 * text.size() + 8, '\0');
    bytes.resize(static_cast<std::size_t>(
        ucnv_convert(encoding, "UTF-8", bytes.data(), static_cast<std::int32_t>(bytes.size()),
                     text.data(), static_cast<std::int32_t>(text.size()), &status)));
    EXPECT_TRUE(U_SUCCESS(status)) << encoding;
    return bytes;
}

TEST(TextDecoding, RecognisesEncodings) {
    const std::vector<std::pair<const char*, std::string>> cases = {
        {"windows-1252", "He said “no” – naïve, 5 €"},
        {"ISO-8859-1", "Grüße aus München"},
        {"ISO-8859-1", "café"},
        {"windows-1251", "Это небольшая заметка о погоде"},
        {"KOI8-R", "Привет мир"},
        {"Shift_JIS", "今日は良い天気です。明日も晴れるでしょう。"},
        {"EUC-JP", "今日は良い天気です。明日も晴れるでしょう。"},
        {"ISO-2022-JP", "今日は良い天気です。明日も晴れるでしょう。"},
        {"GB18030", "今天天气很好，我们去公园散步。"},
        {"Big5", "今天天氣很好，我們去公園散步。"},
        {"EUC-KR", "오늘은 날씨가 좋습니다. 내일도 맑을 것입니다."},
        {"UTF-8", "e\u0301 漢字 👩‍👧"},
        {"UTF-16LE", "Plain words, even without a mark"},
        {"UTF-16BE", "Plain words, even without a mark"},
    };
    for (const auto& [encoding, text] : cases) {
        EXPECT_EQ(decodeText(encoded(text, encoding)), text) << encoding;
    }
}

TEST(TextDecoding, FollowsTheByteOrderMarkAndDropsIt) {
    const std::string text = "a\u00E9漢👩";
    for (const char* encoding : {"UTF-8", "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}) {
        EXPECT_EQ(decodeText(encoded("\uFEFF" + text, encoding)), text) << encoding;
    }
    EXPECT_EQ(decodeUtf8("\uFEFFa"), "a");
    EXPECT_EQ(decodeUtf8("caf\xE9"), std::nullopt);
}

TEST(TextDecoding, GivesValidTextForAnyBytes) {
    std::mt19937 random(7);
    for (int i = 0; i < 3000; ++i) {
        std::string bytes(random() % 200, '\0');
        const unsigned alphabet = i % 2 == 0 ? 256 : 5;
        for (char& c : bytes) c = static_cast<char>(random() % alphabet * (i % 4 == 1 ? 51 : 1));
        if (i % 7 == 0) bytes.insert(0, "\xFF\xFE");
        const std::string text = decodeText(bytes);
        ASSERT_TRUE(isValidUtf8(text)) << i;
        ASSERT_EQ(text.find('\0'), std::string::npos) << i;
    }
}

}  // namespace
}  // namespace nookery
