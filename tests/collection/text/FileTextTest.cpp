#include "collection/text/FileText.h"

#include <gtest/gtest.h>

#include "foundation/Text.h"
#include "support/TemporaryDirectory.h"

namespace nookery {
namespace {

/// Knows one type, and answers as the test asks.
class FakeReader final : public DocumentReader {
  public:
    std::string problem;

    bool canRead(const ContentType& type) const override {
        return type.mediaType == "application/pdf";
    }
    DocumentText read(const Path&, const ContentType&, const DocumentLimits&,
                      std::stop_token) const override {
        if (!problem.empty()) throw DocumentError(problem);
        return {"Own title", "words"};
    }
};

class FileText : public ::testing::Test {
  protected:
    ExtractedText extract(const std::string& mediaType, const std::string& content) {
        return extractText(folder_.write("file", content), {mediaType}, *files_, reader_, limits_);
    }

    testing::TemporaryDirectory folder_;
    std::unique_ptr<FileSystem> files_ = makePosixFileSystem();
    FakeReader reader_;
    DocumentLimits limits_;
};

TEST_F(FileText, ComesFromWhatKnowsTheType) {
    EXPECT_EQ(extract("application/pdf", "%PDF").text, "words");
    EXPECT_EQ(extract("application/pdf", "%PDF").title, "Own title");
    const auto page = extract("text/html", "\uFEFF<title>T</title><p>caf\u00E9");
    EXPECT_EQ(page.title, "T");
    EXPECT_EQ(page.text, "T\ncaf\u00E9");
    const auto oldPage = extract("text/html", "<title>T</title><p>caf\xE9 noir");
    EXPECT_EQ(oldPage.title, "");
    EXPECT_EQ(oldPage.text, "T\ncaf\u00E9 noir");
    EXPECT_EQ(extract("text/markdown", "# Plan\n").text, "# Plan\n");
    EXPECT_EQ(extract("image/png", "words that are none").text, "");
}

TEST_F(FileText, TellsOfADamagedDocumentAndThrowsOnlyForTheFile) {
    reader_.problem = "The file is encrypted with a password.";
    const auto extracted = extract("application/pdf", "%PDF");
    EXPECT_EQ(extracted.problem, reader_.problem);
    EXPECT_EQ(extracted.text, "");
    EXPECT_THROW(extractText(folder_ / "missing", {"text/plain"}, *files_, reader_, limits_, {}),
                 FileError);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(extractText(folder_.write("file", "a"), {"text/plain"}, *files_, reader_, limits_,
                             stop.get_token()),
                 Cancelled);
}

TEST_F(FileText, IsCutBetweenCodePointsAndStaysInItsEncoding) {
    limits_.maximumTextByteCount = 1000;
    std::string text;
    while (text.size() < 200'000) text += "漢";
    const auto extracted = extract("text/plain", text);
    EXPECT_EQ(extracted.text, text.substr(0, 999));
    const auto old = extract("text/plain", std::string(5000, '\xE9'));
    EXPECT_LE(old.text.size(), 1000u);
    EXPECT_TRUE(isValidUtf8(old.text));
}

}  // namespace
}  // namespace nookery
