#include <gtest/gtest.h>

#include <set>

#include "collection/originals/OriginalNames.h"
#include "collection/text/WebAddress.h"
#include "foundation/Text.h"
#include "retrieval/related/MachineNames.h"
#include "retrieval/related/VersionFamily.h"

namespace nookery {
namespace {

TEST(OriginalNames, AreValidShortAndLoseNothingThatCanBeKept) {
    EXPECT_EQ(originalName("a/.bashrc"), ".bashrc");
    EXPECT_EQ(originalName("caf\xC3\xA9.txt"), "caf\xC3\xA9.txt");
    EXPECT_EQ(originalName("caf\xE9.txt"), "caf\xEF\xBF\xBD.txt");
    EXPECT_EQ(originalName("a\nb\x7f\xC2\x85.txt"), "a_b__.txt");
    EXPECT_EQ(originalName(".nookery-tmp-1"), "_.nookery-tmp-1");
    const std::string bytes(255, '\xE9');
    const std::string replaced = originalName(bytes + ".txt");
    EXPECT_EQ(replaced.size(), 253u) << "whole characters only";
    EXPECT_TRUE(isValidUtf8(replaced));
    EXPECT_TRUE(originalName(bytes.substr(4) + ".txt").native().ends_with(".txt"));
    EXPECT_EQ(originalName("x." + std::string(250, 'y')).native().size(), 252u);
    EXPECT_EQ(titleFromFileName("a/Plum jam.tar.gz"), "Plum jam.tar");
    EXPECT_EQ(titleFromFileName(".bashrc"), ".bashrc");
    EXPECT_EQ(titleFromFileName(" .txt"), "Untitled Memory");
}

TEST(OriginalNames, ClashesAreNumberedCheaplyAndWithinTheLimit) {
    std::set<Path> taken;
    int questions = 0;
    const auto isTaken = [&](const Path& name) { return ++questions, taken.contains(name); };
    for (int i = 0; i < 2000; ++i) EXPECT_TRUE(taken.insert(freeName("README", isTaken)).second);
    EXPECT_TRUE(taken.contains("README (2)"));
    EXPECT_TRUE(taken.contains("README (2000)"));
    EXPECT_LT(questions, 2000 * 30);
    const Path longest = std::string(251, 'n') + ".txt";
    taken.insert(longest);
    const std::string second = freeName(longest, isTaken);
    EXPECT_EQ(second.size(), 255u);
    EXPECT_TRUE(second.ends_with("n (2).txt"));
}

TEST(VersionFamily, JoinsIterationsOfOneFileOnly) {
    EXPECT_EQ(versionFamily("Report final v2.pdf"), versionFamily("/x/report_draft3.PDF"));
    EXPECT_EQ(versionFamilyKey("Report final v2.pdf"), "report");
    EXPECT_NE(versionFamily("report.docx"), versionFamily("report.pdf"));
    EXPECT_EQ(versionFamilyKey("v1.png"), std::nullopt);
    EXPECT_EQ(versionFamilyKey("Plan (2).key"), "plan");
    EXPECT_EQ(versionFamilyKey("ab-final.txt"), std::nullopt);
    EXPECT_EQ(versionFamilyKey("revision2.txt"), "ision2") << "the markers are taken in order";
    EXPECT_EQ(versionFamilyKey("This is\xC2\xA0the one plan 12.txt"), "plan");
}

TEST(MachineNames, AreToldFromWordsOfPeople) {
    for (const char* name :
         {"IMG_4821", "Holiday-3f2a9c1d-77aa-4c1e-9b1a-0d2e3f4a5b6c",
          "Crumb-Photo-2024-05-01-123456-0A1B2C3D", "scan 20240501", "deadbeef-12", "pxl_AB12"}) {
        EXPECT_TRUE(isMachineGenerated(name)) << name;
    }
    for (const char* name : {"Budget 2024", "Image of us", "IMG_12", "deadbeef", "Filetypes!"}) {
        EXPECT_FALSE(isMachineGenerated(name)) << name;
    }
    EXPECT_EQ(captureNameKind("crumb_VIDEO_2024_05_01_123456_0A1B2C3D-FFFF"), "video");
}

TEST(WebAddress, KnowsOneAddressInItsSpellings) {
    const auto identity = [](std::string_view text) { return parseWebAddress(text)->identity; };
    EXPECT_EQ(identity(" HTTP://Example.ORG:80 "), "http://example.org/");
    EXPECT_EQ(identity("https://example.org:443?q=A#f"), "https://example.org/?q=A#f");
    EXPECT_NE(identity("https://example.org/a"), identity("https://example.org/A"));
    EXPECT_EQ(parseWebAddress("https://www.example.org/caf%C3%A9/%0A")->readable,
              "example.org/caf%C3%A9/%0A");
    EXPECT_EQ(parseWebAddress("https://example.org/caf%C3%A9/")->readable, "example.org/café");
    for (const char* other : {"example.org", "ftp://example.org/", "http:///path", "http://a b/",
                              "http://", "javascript:alert(1)", "http://:80/", "http://a\x01/"}) {
        EXPECT_FALSE(parseWebAddress(other)) << other;
    }
}

}  // namespace
}  // namespace nookery
