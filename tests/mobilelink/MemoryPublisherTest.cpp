#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "mobilelink/AttachmentPublisher.h"
#include "mobilelink/LinkErrors.h"
#include "mobilelink/LinkWorld.h"
#include "platform/KeyStoreServices.h"
#include "support/StoreChanges.h"

namespace nookery {
namespace {

using testing::Fault;
using testing::LinkWorld;
using Strings = std::vector<std::string>;

TEST(MemoryPublisherTest, TheIndexHoldsEachMemoryInThePhonesWords) {
    const std::vector<std::pair<CrumbKind, std::string>> kinds{{CrumbKind::text, "Text"},
                                                               {CrumbKind::url, "Link"},
                                                               {CrumbKind::image, "Image"},
                                                               {CrumbKind::file, "File"},
                                                               {CrumbKind::activity, "Activity"}};
    // Each character is two code points: what counts is what a person sees as one.
    std::string searchable;
    for (int i = 0; i < 15'001; ++i) searchable += "e\u0301";
    LinkWorld link;
    Json expected = Json::array();
    for (const auto& [kind, shown] : kinds) {
        CrumbItem item;
        item.id = Uuid::random();
        item.title = "Title \"with\" quotes\nand a line";
        item.kind = kind;
        item.createdAt =
            Timestamp::since2001(794'000'000.25 - static_cast<double>(expected.size()));
        item.searchableText = searchable;
        item.note = "ünder the note";
        link.add(item);
        expected.push_back({{"id", item.id.toString()},
                            {"title", item.title},
                            {"kind", shown},
                            {"createdAt", item.createdAt.secondsSince2001()},
                            {"details", item.note},
                            {"body", ""},
                            {"searchable", searchable.substr(0, 45'000)}});
    }
    EXPECT_EQ(link.publish().publishedCount, kinds.size());
    EXPECT_EQ(link.index(), expected);
}

TEST(MemoryPublisherTest, FilesUpToTheLimitAreAttachedSealed) {
    LinkWorld link;
    const auto small = link.picture("small", "\x89PNG with pixels");
    const auto largest = link.picture("largest", "");
    const auto tooLarge = link.picture("too large", "");
    const auto gone = link.picture("gone", "x");
    const auto unreadable = link.picture("unreadable", "x");
    std::filesystem::resize_file(*largest.filePath, AttachmentPublisher::maximumByteCount);
    std::filesystem::resize_file(*tooLarge.filePath, AttachmentPublisher::maximumByteCount + 1);
    std::filesystem::remove(*gone.filePath);
    link.world.files.makeUnreadable(*unreadable.filePath);

    const PublishReport report = link.publish();
    EXPECT_EQ(report.publishedCount, 5u);
    EXPECT_EQ(report.attachmentsWritten, 2u);
    EXPECT_EQ(report.attachmentsFailed, 1u);
    EXPECT_NE(report.firstFailure.find(unreadable.id.toString()), std::string::npos);
    std::set<std::string> attached;
    for (const Json& phoneMemory : link.index()) {
        if (phoneMemory.contains("attachmentName")) attached.insert(phoneMemory["attachmentName"]);
    }
    EXPECT_EQ(attached, (std::set<std::string>{link.attachment(small.id).filename(),
                                               link.attachment(largest.id).filename()}));
    EXPECT_EQ(link.opened(link.attachment(small.id)), "\x89PNG with pixels");
    EXPECT_EQ(link.opened(link.attachment(largest.id)).size(), 20'000'000u);
}

/// Every byte in the shared folder, as it lies there and as the key's holder reads it.
std::string everyByte(const LinkWorld& link) {
    std::string bytes;
    for (const auto& [name, content] : link.everything()) {
        bytes += name + content;
        bytes += link.opened(link.world.folder / "drive" / name);
    }
    return bytes;
}

TEST(MemoryPublisherTest, SecureMemoriesNeverLeave) {
    LinkWorld link;
    CrumbItem secret = link.picture("Passport", "passport pixels");
    const CrumbItem open = link.note("Shopping", "milk and bread");
    link.publish();
    ASSERT_NE(everyByte(link).find("passport pixels"), std::string::npos);

    const auto demandNothingOfIt = [&](const char* after) {
        link.publish();
        const std::string bytes = everyByte(link);
        EXPECT_NE(bytes.find("milk and bread"), std::string::npos);
        for (const std::string part : {"assport", "pixels", "4111", "copy of"}) {
            EXPECT_EQ(bytes.find(part), std::string::npos) << part << " after it " << after;
        }
        EXPECT_EQ(bytes.find(secret.id.toString()), std::string::npos) << after;
    };
    for (const std::string mark :
         {"__crumb_secure__", "words __crumb_secure_credit_card__ words"}) {
        secret.searchableText = mark + " 4111 1111";
        link.change(secret);
        demandNothingOfIt("became secure");
    }
    secret.title = "Passport, renamed";
    link.change(secret);
    demandNothingOfIt("was renamed");
    const Uuid group = testing::addGroup(*link.store, "Papers");
    ASSERT_FALSE(testing::assign(*link.store, {secret.id, open.id}, group));
    demandNothingOfIt("was grouped");
    CrumbItem derived = link.picture("cropped Passport", "cropped pixels");
    derived.sourceItemID = secret.id;
    link.change(derived);
    CrumbItem derivedAgain = link.note("copy of the crop");
    derivedAgain.sourceItemID = derived.id;
    link.change(derivedAgain);
    demandNothingOfIt("was derived from");
    // Its heirs do not become free with it, nor with what lies between them.
    link.remove(derived.id);
    demandNothingOfIt("lost what was derived from it");
    CrumbItem another = link.note("another copy of it");
    another.sourceItemID = secret.id;
    link.change(another);
    link.remove(secret.id);
    demandNothingOfIt("was deleted");
    EXPECT_EQ(link.index().size(), 1u);
    EXPECT_FALSE(isSecure(link.read(open.id)));
}

TEST(MemoryPublisherTest, WhatLiesUnchangedOnTheDriveIsNotWrittenAgain) {
    LinkWorld link;
    const auto first = link.picture("first", "first content");
    const auto second = link.picture("second", "second content");
    const auto publish = [&] {
        const PublishReport report = link.publish();
        EXPECT_EQ(report.attachmentsWritten + report.attachmentsUnchanged, 2u);
        EXPECT_EQ(link.opened(link.attachment(second.id)),
                  link.world.folder.read(*second.filePath));
        return report.attachmentsWritten;
    };
    const Path source = *second.filePath;
    const Path sealed = link.attachment(second.id);
    EXPECT_EQ(publish(), 2u);
    EXPECT_EQ(publish(), 0u) << "nothing has changed";
    link.note("another memory");
    EXPECT_EQ(publish(), 0u) << "another memory was added";
    link.world.realFiles->setModified(source, 1'000'000'000);
    EXPECT_EQ(publish(), 0u) << "the original has the same content under another time";
    link.world.realFiles->setModified(sealed, 2'000'000'000);
    EXPECT_EQ(publish(), 0u) << "the sync client gave the sealed file another time";

    const std::string box = link.world.folder.read(sealed);
    const auto putOnDrive = [&](const std::string& content) {
        const auto time = link.world.realFiles->status(sealed)->modifiedNanoseconds;
        link.world.folder.write(sealed, content);
        link.world.realFiles->setModified(sealed, time);
    };
    std::string damaged = box;
    damaged.back() ^= 1;
    putOnDrive(damaged);
    EXPECT_EQ(publish(), 1u) << "the sealed file was damaged, and its time set back";
    putOnDrive(box);
    EXPECT_EQ(publish(), 1u) << "an older box of the same content was put back, with its time";
    putOnDrive(box.substr(0, 20));
    EXPECT_EQ(publish(), 1u) << "half of it is there";
    std::filesystem::remove(sealed);
    EXPECT_EQ(publish(), 1u) << "it is gone";
    std::filesystem::rename(sealed, sealed.native() + ".nextcloud");
    EXPECT_EQ(link.publish().attachmentsUnchanged, 2u) << "only its content was taken away";
    std::filesystem::rename(sealed.native() + ".nextcloud", sealed);

    link.world.folder.write(source, "SECOND content");
    EXPECT_EQ(publish(), 1u) << "the original changed, in the same length";
    link.pair(std::string(32, 'n'));
    EXPECT_EQ(publish(), 2u) << "another phone is paired";
    EXPECT_EQ(publish(), 0u);
    link.world.folder.write("data/Crumb/phone-link.sqlite3", "not a database, but long enough");
    std::filesystem::remove(link.world.folder / "data/Crumb/phone-link.sqlite3-wal");
    EXPECT_EQ(publish(), 2u) << "what was known of the drive is lost";
    EXPECT_EQ(link.opened(link.attachment(first.id)), "first content");
}

TEST(MemoryPublisherTest, OnlyAttachmentsThatNoMemoryHasAreRemoved) {
    LinkWorld link;
    const auto kept = link.picture("kept", "1");
    const auto deleted = link.picture("deleted", "2");
    link.publish();
    const std::string foreign = Uuid::random().toString();
    const Strings survivors{"memory-not an identifier.enc",
                            "memory-.enc",
                            "memory.enc",
                            "memory-" + foreign + ".txt",
                            "memory-" + foreign + " (conflicted copy).enc",
                            "memories-index-v1 (conflicted copy).enc",
                            "note.txt"};
    const Path memories = link.memories();
    for (const std::string& name : survivors) link.world.folder.write(memories / name, "x");
    link.world.folder.write(memories / ("memory-" + foreign + ".enc"), "another desktop's");
    std::filesystem::create_directory(link.attachment(Uuid::random()));
    // What a killed process left goes after a day.
    const std::string unfinished = ".nookery-tmp-";
    link.world.folder.write(memories / (unfinished + Uuid::random().toString()), "old");
    link.world.realFiles->setModified(memories / link.world.folder.filesBelow(memories).front(), 0);
    link.remove(deleted.id);
    const Path hidden = link.attachment(deleted.id).native() + ".nextcloud";
    std::filesystem::rename(link.attachment(deleted.id), hidden);

    link.publish();
    std::set<std::string> expected(survivors.begin(), survivors.end());
    expected.insert({"memories-index-v1.enc", link.attachment(kept.id).filename()});
    const auto left = link.world.folder.filesBelow(memories);
    EXPECT_EQ(std::set<std::string>(left.begin(), left.end()), expected);

    link.world.resultOf(link.store->remover().clearLibrary());
    EXPECT_EQ(link.publish().publishedCount, 0u);
    EXPECT_EQ(link.index(), Json::array());
    EXPECT_FALSE(std::filesystem::exists(link.attachment(kept.id)));
}

TEST(MemoryPublisherTest, WithoutAKeyNothingIsWritten) {
    LinkWorld link;
    link.note("mine");
    const auto demandNotPaired = [&](const char* why) {
        EXPECT_THROW(link.publish(), PublishError) << why;
        EXPECT_FALSE(link.receive().isPaired) << why;
        EXPECT_TRUE(link.everything().empty()) << why;
    };
    for (const std::size_t length : {0, 31, 33}) {
        link.pair(std::string(length, 'k'));
        demandNotPaired("the key store holds something else");
    }
    link.unpair();
    link.world.keyStore.write(KeyStoreServices(developmentApplicationIdentifier).pairedKey(),
                              pairedKeyAccount, std::string(32, 'k'));
    demandNotPaired("only a developer's build is paired");
    link.pair(std::string(32, 'k'));
    link.world.keyStore.available = false;
    demandNotPaired("the key store is locked");
}

/// The phone must find a whole index, and behind every name in it a whole attachment.
void demandWhole(const LinkWorld& link, const std::set<Strings>& allowedTitles) {
    EXPECT_TRUE(allowedTitles.contains(link.indexTitles()));
    for (const Json& phoneMemory : link.index()) {
        if (!phoneMemory.contains("attachmentName")) continue;
        const std::string content =
            link.opened(link.memories() / phoneMemory.at("attachmentName").get<std::string>());
        EXPECT_TRUE(content.starts_with("pixels of ")) << content;
    }
}

/// An index of one memory on the drive, and two more to publish.
class WorldWithMore : public LinkWorld {
  public:
    WorldWithMore() {
        picture("old", "pixels of old");
        publish();
        world.time.advance(1);
        picture("new", "pixels of new");
        world.time.advance(1);
        picture("newer", "pixels of newer");
    }
    /// Whether it got to its end.
    bool publishWith(Fault fault, int k) {
        world.files.arm(fault, k);
        bool finished = false;
        try {
            publish();
            finished = true;
        } catch (const Error&) {
        } catch (const testing::SimulatedCrash&) {
        }
        if (fault == Fault::crash) world.files.losePower();
        return finished;
    }
};

TEST(MemoryPublisherTest, WhateverFailsThePhoneFindsAWholeIndex) {
    const Strings all{"newer", "new", "old"};
    WorldWithMore untroubled;
    ASSERT_TRUE(untroubled.publishWith(Fault::none, 0));
    const int operationCount = untroubled.world.files.operationCount();
    ASSERT_GT(operationCount, 10);
    for (const Fault fault : {Fault::fail, Fault::diskFull, Fault::crash}) {
        for (int k = 1; k <= operationCount; ++k) {
            WorldWithMore link;
            const bool finished = link.publishWith(fault, k);
            link.world.files.disarm();
            demandWhole(link, finished ? std::set{all} : std::set<Strings>{{"old"}, all});
            const PublishReport next = link.publish();
            EXPECT_EQ(next.publishedCount, 3u) << "after operation " << k;
            EXPECT_EQ(next.attachmentsWritten + next.attachmentsUnchanged, 3u);
            demandWhole(link, {all});
        }
    }
}

TEST(MemoryPublisherTest, TheKeyAppearsNowhere) {
    LinkWorld link;
    const std::string key = "an unmistakable key of 32 bytes!";
    link.pair(key);
    link.picture("one", "pixels");
    link.ask(link.note("two"), {{"title", "three"}});
    link.link->start();
    link.world.time.advance(60);
    link.world.cloud.available = false;
    link.world.time.advance(60);
    for (const std::string& name : link.world.folder.filesBelow()) {
        EXPECT_EQ(link.world.folder.read(name).find(key.substr(0, 16)), std::string::npos) << name;
    }
    ASSERT_FALSE(link.world.log.lines.empty());
    EXPECT_FALSE(link.world.log.contains(key.substr(0, 16)));
}

}  // namespace
}  // namespace nookery
