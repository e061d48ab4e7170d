#include "backends/documents/IsolatedPdf.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "backends/documents/DocumentFormats.h"
#include "support/TemporaryDirectory.h"

namespace nookery {
namespace {

using testing::TemporaryDirectory;

TEST(IsolatedPdf, AReaderThatDiesIsOneClearFailureEachTime) {
    const TemporaryDirectory folder;
    const Path file = folder.write("plan.pdf", "%PDF-1.4");
    const auto pages = makeIsolatedPages("/bin/false");
    const auto documents = makeIsolatedDocuments(makeDocumentReader(), "/bin/false");
    const auto failure = [](const auto& reading) -> std::string {
        try {
            reading();
        } catch (const DocumentError& error) {
            return error.description();
        }
        return "none";
    };
    const std::string expected =
        "\"plan.pdf\" was given up: it takes too much memory or crashes the PDF library.";
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(failure([&] { pages->render(file, 0, 100, {}, {}); }), expected);
        EXPECT_EQ(failure([&] { documents->read(file, {"application/pdf"}, {}, {}); }), expected);
    }
    EXPECT_EQ(
        documents->read(folder.write("a.rtf", "{\\rtf1 other}"), {"application/rtf"}, {}, {}).text,
        "other");
}

TEST(IsolatedPdf, WhatCannotBeOpenedOrStartedIsAFileError) {
    const TemporaryDirectory folder;
    const Path file = folder.write("plan.pdf", "%PDF-1.4");
    EXPECT_THROW(makeIsolatedPages("/bin/false")->pageCount(folder / "none.pdf", {}), FileError);
    EXPECT_THROW(makeIsolatedPages(folder / "none")->pageCount(file, {}), FileError);
}

TEST(IsolatedPdf, AReaderThatNeverAnswersIsLeftWhenAsked) {
    const TemporaryDirectory folder;
    const Path file = folder.write("plan.pdf", "%PDF-1.4");
    const Path reader = folder.write("reader", "#!/bin/sh\nexec sleep 60\n");
    std::filesystem::permissions(reader, std::filesystem::perms::owner_all);
    std::stop_source stop;
    std::thread person([&] { stop.request_stop(); });
    EXPECT_THROW(makeIsolatedPages(reader)->pagesWithoutText(file, {}, stop.get_token()),
                 Cancelled);
    person.join();
}

}  // namespace
}  // namespace nookery
