#include "retrieval/related/FilenameCleanup.h"

#include <gtest/gtest.h>

#include "foundation/Timestamp.h"

namespace nookery {
namespace {

constexpr Timestamp noonInMay{1714564800};

CrumbItemPointer memory(const std::string& title, const std::string& file) {
    CrumbItem item;
    item.id = Uuid::random();
    item.title = title;
    item.createdAt = noonInMay;
    if (!file.empty()) item.filePath = "/library/" + file;
    return std::make_shared<const CrumbItem>(item);
}

TEST(FilenameCleanup, ProposesWhatAPersonCanRead) {
    const std::string day = " • " + toAbbreviatedDay(noonInMay);
    struct Case {
        std::string title, file, proposal;
    };
    const std::vector<Case> cases{
        {"IMG_4821", "IMG_4821.HEIC", "Photo" + day},
        {"scan-0042", "a.PDF", "PDF" + day},
        {"MOV_20240501_123456", "b.mov", "Video" + day},
        {"FILE12345", "c.tar", "Archive" + day},
        {"dsc00017", "no-extension", "File" + day},
        {"Crumb-Photo-2024-05-01-123456-0A1B2C3D", "d.bin", "Photo" + day},
        {"Crumb_Image_2024_05_01_123456_0a1b2c3d_FFFF", "d.bin", "Photo" + day},
        {"Crumb Note 2024-05-01-123456-0A1B2C3D", "d.txt", "Note" + day},
        {"Crumb-Audio-2024-05-01-123456-0A1B2C3D", "d.m4a", "Audio" + day},
        {"Crumb-Document-2024-05-01-123456-0A1B2C3D", "d.pdf", "Document" + day},
        {"Holiday-3f2a9c1d-77aa-4c1e-9b1a-0d2e3f4a5b6c", "e.jpg", "Holiday"},
        {"3f2a9c1d-77aa-4c1e-9b1a-0d2e3f4a5b6c", "f.zip", "Archive" + day},
        {"__Summer_trip-to--Crete_1234567", "g.jpg", "Summer trip to Crete"},
        {"Invoice deadbeefcafe0", "h.pdf", "Invoice"},
        {"20240501_20240502", "i.mp3", "Audio" + day},
    };
    for (const Case& wanted : cases) {
        const CrumbItemPointer item = memory(wanted.title, wanted.file);
        const auto list = filenameCleanupCandidates(std::span(&item, 1));
        ASSERT_EQ(list.size(), 1U) << wanted.title;
        EXPECT_EQ(list.front().newTitle, wanted.proposal) << wanted.title;
        EXPECT_EQ(list.front().oldTitle, wanted.title);
    }
}

TEST(FilenameCleanup, LeavesReadableTitlesAndMemoriesWithoutFilesAlone) {
    const std::vector<CrumbItemPointer> items{
        memory("Budget 2024", "a.xls"), memory("IMG_4821", ""),
        memory("0a1b2c3d4e5f", "b.bin"),  // its own proposal
        memory("Images of Crete", "c.jpg"), memory("Photo • May 1, 2024", "d.jpg")};
    EXPECT_TRUE(filenameCleanupCandidates(items).empty());
}

}  // namespace
}  // namespace nookery
