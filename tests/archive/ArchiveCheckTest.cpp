#include "archive/ArchiveCheck.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "archive/ArchiveHarness.h"
#include "foundation/SqliteConnection.h"

namespace nookery {
namespace {

using namespace testing;
namespace fs = std::filesystem;

constexpr const char* unsupported = "This folder is not a supported NOOKERY Complete Archive.";
constexpr const char* unsafe = "Missing or unsafe archived file: ";
constexpr const char* damaged = "Archive integrity check failed: ";

/// A sound archive, of which each test damages a copy.
class ArchiveCheck : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        world_ = new TestPlatform(Place::memory);
        makeSampleLibrary(*world_, world_->layout(), "new");
        exportArchive(*world_, world_->folder / "sound");
    }
    static void TearDownTestSuite() { delete world_; }

    TestPlatform& world() { return *world_; }
    Path archive() { return world_->folder / "copy"; }

    void SetUp() override {
        fs::remove_all(archive());
        fs::copy(world_->folder / "sound", archive(), fs::copy_options::recursive);
    }

    /// The failure of the check, which must be the failure of preparing a restore, too.
    std::string failure() {
        const Tree before = treeOf(archive());
        const std::string checking = failureOf([this] { checkArchive(world(), archive()); });
        const LibraryLayout fresh{world().folder / "fresh", world().folder / "cache"};
        const std::string preparing = failureOf([&] { prepareRestore(world(), fresh, archive()); });
        EXPECT_EQ(checking.empty(), preparing.empty()) << checking << " / " << preparing;
        if (checking != "") {
            EXPECT_TRUE(treeOf(fresh.library()).empty());
        }
        fs::remove_all(fresh.dataHome);
        EXPECT_EQ(treeOf(archive()), before);
        return checking;
    }

    void sql(const std::string& name, const std::string& text) {
        SqliteConnection::open(archive() / name, SqliteAccess::readWriteCreate).execute(text);
        relist(world(), archive(), name);
    }

  private:
    static inline TestPlatform* world_ = nullptr;
};

Json& fileNamed(Json& manifest, const std::string& name) {
    for (Json& file : manifest["files"]) {
        if (file["relativePath"] == name) return file;
    }
    throw std::runtime_error("not listed: " + name);
}

TEST_F(ArchiveCheck, ASoundArchivePassesWhereverItLies) {
    EXPECT_EQ(failure(), "");
    fs::create_directory_symlink(archive(), world().folder / "alias");
    EXPECT_NO_THROW(checkArchive(world(), world().folder / "alias"));
    const auto summary = checkArchive(world(), archive());
    EXPECT_EQ(summary.recordCount, 9);
    EXPECT_EQ(summary.fileCount, 10);
    // What nobody listed is none of our business.
    writeText(archive() / "Originals/stranger.txt", "?");
    EXPECT_EQ(failure(), "");
}

TEST_F(ArchiveCheck, AManifestOfAnotherKindIsNotSupported) {
    const Json sound = readJson(archive() / "Collection.json");
    const auto tryText = [this](const std::string& text) {
        writeText(archive() / "Collection.json", text);
        EXPECT_EQ(failure(), unsupported) << text.substr(0, 80);
    };
    for (const char* text : {"", "null", "[]", "{}", "{", "\xff\xfe", "\"x\""}) tryText(text);
    tryText(sound.dump() + "{}");
    tryText(std::string(100'000, '[') + std::string(100'000, ']'));
    tryText("{\"files\": " + std::string(100'000, '['));
    tryText("{\"unknown\": " + std::string(100'000, '['));
    for (const auto& [key, value] : sound.items()) {
        for (const Json& wrong : {Json(), Json(7.5), Json("x"), Json::array({1}),
                                  Json::array({Json::array()}), Json::array({Json::object()})}) {
            Json changed = sound;
            changed[key] = wrong;
            tryText(changed.dump());
        }
        Json without = sound;
        without.erase(key);
        tryText(without.dump());
        tryText(sound.dump().insert(1, "\"" + key + "\":" + value.dump() + ","));  // twice
    }
    for (const char* key : {"relativePath", "byteCount", "sha256"}) {
        Json changed = sound;
        changed["files"][0].erase(key);
        tryText(changed.dump());
    }
    Json changed = sound;
    changed["schemaVersion"] = 2;
    tryText(changed.dump());
    fs::remove(archive() / "Collection.json");
    EXPECT_EQ(failure(), unsupported);
    fs::create_symlink(world().folder / "sound/Collection.json", archive() / "Collection.json");
    EXPECT_EQ(failure(), unsupported);
    // Keys of a later program are read over.
    fs::remove(archive() / "Collection.json");
    changed = sound;
    changed["zebra"] = {{"deep", Json::array({1, "two", Json::object()})}};
    changed["records"][0]["zebra"] = Json::array({1});
    writeText(archive() / "Collection.json", changed.dump());
    EXPECT_EQ(failure(), "");
}

TEST_F(ArchiveCheck, AHugeManifestIsRefusedBeforeItFillsTheMemory) {
    const auto refuses = [this](const std::string& text, const ManifestLimits& limits) {
        writeText(archive() / "big.json", text);
        EXPECT_THROW(readManifest(world().files, archive() / "big.json", limits), ManifestError);
    };
    const Json sound = readJson(archive() / "Collection.json");
    refuses("{\"format\": \"" + std::string(300'000, 'x'), {.valueByteCount = 100'000});
    refuses(std::string(300'000, ' '), {.valueByteCount = 100'000});
    refuses(sound.dump(), {.recordCount = 8});
    refuses(sound.dump(), {.fileCount = 9});
    writeText(archive() / "big.json", sound.dump());
    EXPECT_EQ(readManifest(world().files, archive() / "big.json",
                           {.valueByteCount = 1'000, .recordCount = 9, .fileCount = 10})
                  .files.size(),
              10u);
}

TEST_F(ArchiveCheck, NoSpellingOfAPathLeadsOutOfTheArchive) {
    writeText(world().folder / "secret.txt", "photo new");
    const std::string outside = (world().folder / "secret.txt").native();
    for (const std::string& path : {std::string("../secret.txt"),
                                    std::string("Originals/../../secret.txt"),
                                    std::string("Originals/trip/../../../secret.txt"),
                                    std::string("./../secret.txt"),
                                    std::string("../copy/../secret.txt"),
                                    outside,
                                    "/" + outside,
                                    std::string(""),
                                    std::string("."),
                                    std::string(".."),
                                    std::string("Originals"),
                                    std::string("Originals/"),
                                    std::string("Originals/photo.png\0", 20),
                                    std::string("Originals/photo.png\0.txt", 24),
                                    std::string("originals/photo.png"),
                                    std::string("Originals\\photo.png"),
                                    std::string("Originals/%2e%2e/secret.txt"),
                                    std::string("Originals/\u2025/\u2025/secret.txt"),
                                    std::string("\uFF0E\uFF0E/secret.txt"),
                                    std::string("..\u2215secret.txt"),
                                    std::string("Originals/photo\u0301.png"),
                                    "Originals/" + std::string(300, 'x'),
                                    std::string(5'000, 'x'),
                                    std::string(3'000, '/') + "Originals/photo.png"}) {
        SetUp();
        editManifest(archive(), [&](Json& manifest) {
            fileNamed(manifest, "Originals/photo.png")["relativePath"] = path;
        });
        EXPECT_TRUE(failure().starts_with(unsafe)) << path;
    }
    // A detour that stays inside is the file itself, and so a second mention of it is refused.
    for (const char* path :
         {"Originals/./photo.png", "Originals//photo.png", "Originals/trip/../photo.png",
          "Originals/photo.png/", "Originals/photo.png"}) {
        SetUp();
        editManifest(archive(), [&](Json& manifest) {
            Json again = fileNamed(manifest, "Originals/photo.png");
            again["relativePath"] = path;
            manifest["files"].push_back(again);
        });
        EXPECT_EQ(failure(), std::string(unsafe) + path);
    }
}

TEST_F(ArchiveCheck, LinksDevicesAndMissingFilesAreUnsafe) {
    const Path photo = archive() / "Originals/photo.png";
    const std::string expected = std::string(unsafe) + "Originals/photo.png";
    fs::remove(photo);
    EXPECT_EQ(failure(), expected);
    fs::create_symlink(world().folder / "sound/Originals/photo.png", photo);
    EXPECT_EQ(failure(), expected);
    fs::remove(photo);
    ASSERT_EQ(::mkfifo(photo.c_str(), 0600), 0);
    EXPECT_EQ(failure(), expected);
    fs::remove(photo);
    fs::create_directory(photo);
    EXPECT_EQ(failure(), expected);
    SetUp();
    fs::rename(archive() / "Originals", world().folder / "moved");
    fs::create_directory_symlink(world().folder / "moved", archive() / "Originals");
    EXPECT_EQ(failure(), std::string(unsafe) + "Originals/empty.txt");
    fs::remove_all(world().folder / "moved");
}

TEST_F(ArchiveCheck, SizesAndDigestsMustBeExact) {
    const std::string name = "Originals/photo.png";
    const auto changed = [&](const char* key, const std::function<Json(const Json&)>& change) {
        SetUp();
        editManifest(archive(), [&](Json& manifest) {
            Json& file = fileNamed(manifest, name);
            file[key] = change(file[key]);
        });
        EXPECT_EQ(failure(), damaged + name);
    };
    for (const std::int64_t lie :
         {std::int64_t{10}, std::int64_t{0}, std::int64_t{-1}, INT64_MAX, INT64_MIN}) {
        changed("byteCount", [lie](const Json&) { return lie; });
    }
    changed("sha256", [](const Json& digest) {
        std::string upper = digest;
        for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        return upper;
    });
    changed("sha256", [](const Json& digest) { return digest.get<std::string>() + "0"; });
    changed("sha256", [](const Json&) { return ""; });
    SetUp();
    writeText(archive() / name, "photo NEW");
    EXPECT_EQ(failure(), damaged + name);
}

TEST_F(ArchiveCheck, ADatabaseThatIsNoneOrMisbehavesIsRefused) {
    const std::string name = "Data/crumb.sqlite3";
    const std::string place = (archive() / name).native();
    const std::string invalid = "Archived database failed integrity validation: ";
    SetUp();
    editManifest(archive(), [&](Json& manifest) {
        auto& files = manifest["files"];
        for (std::size_t i = 0; i < files.size(); ++i) {
            if (files[i]["relativePath"] == name) files.erase(i);
        }
    });
    EXPECT_EQ(failure(), "Main collection database is missing.");

    SetUp();
    writeText(archive() / name,
              "This is no database, but it is long enough to look like one."
              " This is no database, but it is long enough to look like one.");
    relist(world(), archive(), name);
    EXPECT_EQ(failure(), "Could not check integrity of " + place + ": file is not a database");

    SetUp();
    writeText(archive() / name, "");  // for SQLite, a sound database without tables
    relist(world(), archive(), name);
    EXPECT_TRUE(failure().starts_with(invalid)) << failure();

    SetUp();
    std::string bytes = readText(archive() / name);
    for (std::size_t i = 4096; i < bytes.size(); i += 512) bytes[i] ^= 0x55;
    writeText(archive() / name, bytes);
    relist(world(), archive(), name);
    EXPECT_NE(failure(), "");

    for (const char* hostile :
         {"CREATE TRIGGER t AFTER UPDATE ON crumbs BEGIN DELETE FROM crumbs; END;",
          "CREATE VIEW v AS SELECT * FROM crumbs;",
          "ALTER TABLE crumbs RENAME TO other; CREATE VIEW crumbs AS SELECT * FROM other;",
          "CREATE VIRTUAL TABLE f USING fts5(x);", "DROP TABLE crumbs;"}) {
        SetUp();
        sql(name, hostile);
        EXPECT_TRUE(failure().starts_with(invalid)) << hostile << failure();
    }
    SetUp();
    sql("Data/Coffer/coffer.sqlite3",
        "CREATE TRIGGER t AFTER UPDATE ON receipts BEGIN DELETE FROM receipts; END;");
    EXPECT_TRUE(failure().starts_with(invalid));
    SetUp();
    writeText(archive() / "Data/local-state.json", "{\"Crumb.ManualTags.v1\": \"not base64\"}");
    relist(world(), archive(), "Data/local-state.json");
    EXPECT_EQ(failure(), std::string(damaged) + "Data/local-state.json");
}

}  // namespace
}  // namespace nookery
