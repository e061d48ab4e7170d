#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "backends/contenttypes/MagicContentTypes.h"

namespace nookery {
namespace {

class ContentTypes : public ::testing::Test {
  protected:
    std::string typeOf(std::string_view head, const Path& name = "file") {
        return detector_->detect(head, name).mediaType;
    }
    std::unique_ptr<ContentTypeDetector> detector_ = makeContentTypeDetector();
};

/// The beginning of a zip archive whose parts have these names.
std::string zipOf(const std::vector<std::pair<std::string, std::string>>& parts) {
    std::string bytes;
    for (const auto& [name, content] : parts) {
        bytes += std::string("PK\x03\x04", 4) + std::string(22, '\0');
        bytes += static_cast<char>(name.size());
        bytes += std::string(3, '\0') + name + content;
    }
    return bytes + std::string(60, '\0');
}

TEST_F(ContentTypes, TextIsTextWhateverItsNameAndEncoding) {
    EXPECT_EQ(typeOf("# Plan\n", "plan.md"), "text/markdown");
    EXPECT_EQ(typeOf("# Plan\n", "plan.png"), "text/plain");
    EXPECT_EQ(typeOf("{\"a\": 1}", "a.json"), "text/plain");
    EXPECT_EQ(typeOf("#!/bin/sh\necho hi\n", "run"), "text/plain");
    EXPECT_EQ(typeOf("", "empty"), "text/plain");
    EXPECT_EQ(typeOf("Gr\xFC\xDF"
                     "e aus M\xFCnchen\n",
                     "brief.txt"),
              "text/plain");
    EXPECT_EQ(typeOf(std::string_view("\xFF\xFEh\0i\0", 6), "hi.txt"), "text/plain");
    const std::string cut = std::string(65535, 'a') + "\xE2\x82";
    EXPECT_EQ(typeOf(cut, "long.txt"), "text/plain");
}

TEST_F(ContentTypes, MarkedTextsAreToldByTheirBytes) {
    EXPECT_EQ(typeOf("\xEF\xBB\xBF\n<!-- c --><!DOCTYPE HTML><p>", "page"), "text/html");
    EXPECT_EQ(typeOf("plain words", "page.HTM"), "text/html");
    EXPECT_EQ(typeOf("<?xml version='1.0'?>\n<svg xmlns='x'/>", "a.xml"), "image/svg+xml");
    EXPECT_EQ(typeOf("{\\rtf1 a}", "a.doc"), "application/rtf");
    EXPECT_EQ(typeOf("Received: from a\r\n by b\r\nFrom: c\r\n\r\nHi", "123"), "message/rfc822");
    EXPECT_EQ(typeOf("Subject: a\nTo: b\n\nHi", "a.eml"), "message/rfc822");
    EXPECT_EQ(typeOf("From: the office\nTo: do list\n\nmilk", "note.txt"), "text/plain");
}

TEST_F(ContentTypes, PackedDocumentsAreToldByTheirParts) {
    EXPECT_EQ(typeOf(zipOf({{"mimetype", "application/epub+zip"}, {"a", ""}}), "book"),
              "application/epub+zip");
    EXPECT_EQ(typeOf(zipOf({{"[Content_Types].xml", ""}, {"xl/workbook.xml", ""}}), "a.zip"),
              "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet");
    EXPECT_EQ(typeOf(zipOf({{"[Content_Types].xml", ""}}), "a.pptx"),
              "application/vnd.openxmlformats-officedocument.presentationml.presentation");
    EXPECT_EQ(typeOf(zipOf({{"photo.jpg", ""}}), "a"), "application/zip");
    EXPECT_EQ(typeOf("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1 and more", "secret.docx"),
              "application/vnd.openxmlformats-officedocument.wordprocessingml.document");
    EXPECT_EQ(typeOf("junk\n%PDF-1.4\n%\x80\x81\x82", "a"), "application/pdf");
}

TEST_F(ContentTypes, ImagesAndOtherBinariesAreKnown) {
    const auto container = [](const std::string& brands) {
        return std::string("\0\0\0\x1C", 4) + "ftyp" + brands;
    };
    EXPECT_EQ(typeOf(container("heic\0\0\0\0mif1heic")), "image/heic");
    EXPECT_EQ(typeOf(container(std::string("mif1\0\0\0\0mif1avif", 16))), "image/avif");
    EXPECT_EQ(typeOf(container(std::string("isom\0\0\0\0isomavc1", 16))), "video/mp4");
    EXPECT_EQ(
        typeOf(std::string_view("RIFF\x24\0\0\0WEBPVP8 \x18\0\0\0\x30\x01\0\x9D\x01\x2A", 26)),
        "image/webp");
    EXPECT_EQ(typeOf(std::string_view("\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\0\1\0\0\0\1\x08", 25)),
              "image/png");
    EXPECT_EQ(typeOf(std::string_view("\x01\x00\x02\x00\x03\x99\xFE", 7), "a.txt"),
              "application/octet-stream");
}

TEST_F(ContentTypes, ThousandsOfSmallFilesCostLittleInAnyThread) {
    const std::string text = "A short note about nothing in particular.\n";
    const std::string old =
        "Ein kurzer Text \xFC"
        "ber nichts.\n";
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 1000; ++k) {
                EXPECT_EQ(typeOf(text, "a.txt"), "text/plain");
                EXPECT_EQ(typeOf(old, "a.txt"), "text/plain");
            }
        });
    }
    for (auto& thread : threads) thread.join();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    EXPECT_LT(taken.count(), 8);
}

}  // namespace
}  // namespace nookery
