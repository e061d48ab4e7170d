#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "foundation/Text.h"
#include "mobilelink/LinkErrors.h"
#include "mobilelink/LinkWorld.h"

namespace nookery {
namespace {

using testing::Fault;
using testing::LinkWorld;

constexpr const char* saved = "Changes saved on Mac";
constexpr const char* changedHere =
    "This memory changed on the Mac. Your phone edit was preserved, not overwritten.";
constexpr const char* formatted = "This memory contains formatted text. Edit its body on the Mac.";
constexpr const char* gone =
    "The memory no longer exists on the Mac. Your phone edit was preserved.";

class PhoneEditsTest : public ::testing::Test {
  protected:
    void expectAnswer(const Uuid& request, const std::string& result,
                      const std::string& explanation) {
        const auto receipt = link.receipt(request);
        ASSERT_TRUE(receipt);
        EXPECT_EQ(*receipt, (Json{{"requestID", request.toString()},
                                  {"result", result},
                                  {"explanation", explanation}}));
    }

    LinkWorld link;
};

TEST_F(PhoneEditsTest, EachGivenFieldIsChangedAndNoOther) {
    for (const Json& changes :
         {Json{{"title", "new title"}}, Json{{"details", "new details"}},
          Json{{"body", "new body"}}, Json{{"title", ""}, {"details", "d"}, {"body", "b\nüber"}},
          Json::object(), Json{{"title", nullptr}, {"unknown", {1, 2}}}}) {
        CrumbItem item = link.note("title", "body");
        item.note = "details";
        link.change(item);
        const Uuid request = link.ask(item, changes);
        EXPECT_EQ(link.receive().appliedCount, 1u);
        expectAnswer(request, "applied", saved);
        if (changes.contains("title") && changes["title"].is_string())
            item.title = changes["title"];
        if (changes.contains("details")) item.note = changes["details"];
        if (changes.contains("body")) item.text = changes["body"];
        EXPECT_EQ(link.read(item.id), item) << changes;
    }
}

TEST_F(PhoneEditsTest, WhatChangedHereIsNeverOverwritten) {
    for (const auto change : {+[](CrumbItem& item) { item.title = "mine"; },
                              +[](CrumbItem& item) { item.note = "mine"; },
                              +[](CrumbItem& item) { item.text = "mine"; },
                              +[](CrumbItem& item) { item.text = std::nullopt; }}) {
        CrumbItem item = link.note("title", "body");
        const Uuid request = link.ask(item, {{"title", "from the phone"}});
        change(item);
        link.change(item);
        EXPECT_EQ(link.receive().conflictCount, 1u);
        expectAnswer(request, "conflict", changedHere);
        EXPECT_EQ(link.read(item.id), item);
    }
}

TEST_F(PhoneEditsTest, OfWhatIsGoneOrSecureThePhoneLearnsNothing) {
    const CrumbItem deleted = link.note("deleted");
    CrumbItem secure = link.note("secure");
    secure.searchableText = "__crumb_secure__";
    link.change(secure);
    CrumbItem derived = link.note("derived");
    derived.sourceItemID = secure.id;
    link.change(derived);
    std::vector<Uuid> requests;
    for (const CrumbItem& item : {deleted, secure, derived}) {
        requests.push_back(link.ask(item, {{"title", "x"}}));
    }
    link.world.resultOf(link.store->remover().deleteMemories({deleted.id}));
    EXPECT_EQ(link.receive().missingCount, 3u);
    for (const Uuid& request : requests) expectAnswer(request, "missing", gone);
    EXPECT_EQ(link.read(secure.id), secure);
    EXPECT_EQ(link.read(derived.id), derived);
}

TEST_F(PhoneEditsTest, TheBodyOfFormattedTextStaysItsTitleChanges) {
    CrumbItem item;
    item.id = Uuid::random();
    item.title = "formatted";
    item.text = "body";
    link.add(item);
    link.makeFormatted(item.id);
    const Uuid body = link.ask(item, {{"body", "new"}, {"title", "new"}});
    link.receive();
    expectAnswer(body, "conflict", formatted);
    EXPECT_EQ(link.read(item.id), item);
    const Uuid title = link.ask(item, {{"title", "new"}});
    link.receive();
    expectAnswer(title, "applied", saved);
}

TEST_F(PhoneEditsTest, ARunOverAnsweredRequestsWritesNothing) {
    link.ask(link.note("title"), {{"title", "one"}});
    EXPECT_EQ(link.receive().appliedCount, 1u);
    const auto after = link.everything();
    EXPECT_EQ(link.receive().answeredCount(), 0u);
    link.open(LibraryAccess::writing);
    EXPECT_EQ(link.receive().answeredCount(), 0u) << "by a program that has not seen it before";
    EXPECT_EQ(link.everything(), after);
}

TEST_F(PhoneEditsTest, EditsOfOneMemoryFollowInTheOrderTheyWereMade) {
    CrumbItem item = link.note("0");
    std::vector<Uuid> requests;
    for (int i = 1; i <= 100; ++i) {
        item.title = std::to_string(i - 1);
        requests.push_back(link.ask(item, {{"title", std::to_string(i)}}));
        link.world.time.advance(1);
    }
    EXPECT_EQ(link.receive().appliedCount, 100u);
    EXPECT_EQ(link.read(item.id).title, "100");
    EXPECT_EQ(link.result(requests.back()), "applied");
}

TEST_F(PhoneEditsTest, HostileRequestsAreSkippedCountedAndLeftAlone) {
    const CrumbItem item = link.note("title");
    const auto request = [&](const std::string& key, const Json& value) {
        Json hostile = link.requestFor(item, Uuid::random());
        hostile["title"] = "owned";
        hostile[key] = value;
        return toJsonText(hostile);
    };
    const std::string whole = request("title", "owned");
    const std::string id = item.id.toString();
    std::vector<std::string> contents{"",
                                      "null",
                                      "[]",
                                      whole + whole,
                                      "{\"title\":\"\xff\xfe\"}",
                                      whole.substr(0, whole.size() / 2),
                                      std::string(100'000, '['),
                                      "{\"id\":" + std::string(1000, '[')};
    const std::map<std::string, Json> wrongValues{
        {"memoryID", {"{" + id + "}", id.substr(0, 35), "../../../../etc/passwd", 17, nullptr}},
        {"id", {"result-" + id, ""}},
        {"createdAt", {"yesterday"}},
        {"baseTitle", {Json::array({"title"}), nullptr}},
        {"title", {{{"deep", {{"deeper", {1}}}}}}},
        {"body", {false}}};
    for (const auto& [key, values] : wrongValues) {
        for (const Json& value : values) contents.push_back(request(key, value));
    }
    int number = 0;
    for (const std::string& content : contents) {
        link.putSealed(link.edits() / fmt::format("edit-{}.enc", ++number), content);
    }
    // Not sealed with the key: somebody else's, half of one, nothing, and more than is ever read.
    const auto& folder = link.world.folder;
    folder.write(link.edits() / "edit-a.enc", whole);
    folder.write(link.edits() / "edit-b.enc", std::string(27, 'x'));
    folder.write(link.edits() / "edit-c.enc", "");
    std::filesystem::resize_file(folder.write(link.edits() / "edit-d.enc", ""),
                                 std::uintmax_t{1} << 40);
    std::filesystem::create_directory(link.edits() / "edit-e.enc");
    std::filesystem::create_symlink("/dev/zero", link.edits() / "edit-f.enc");
    // Not named as a request is.
    for (const char* name : {"edit-result-x.enc", "edit-x.txt", "Edit-x.enc", "x.enc"}) {
        link.putSealed(link.edits() / name, whole);
    }
    const auto before = folder.filesBelow("drive");
    for (int look = 0; look < 2; ++look) {
        EXPECT_EQ(link.receive().skippedCount, contents.size() + 6);
    }
    EXPECT_EQ(folder.filesBelow("drive"), before);
    EXPECT_EQ(link.read(item.id), item);

    // The one beside them is taken, also with its ids in lower case.
    link.putSealed(link.edits() / "edit-z.enc", request("memoryID", lowerCased(id)));
    EXPECT_EQ(link.receive().appliedCount, 1u);
    EXPECT_EQ(link.read(item.id).title, "owned");
}

TEST_F(PhoneEditsTest, WhatASyncClientDoesToFilesChangesNoAnswer) {
    const CrumbItem item = link.note("title");
    const Uuid id = link.ask(item, {{"title", "new"}});
    const Path request = link.edits() / ("edit-" + id.toString() + ".enc");
    const std::string whole = link.world.folder.read(request);
    std::filesystem::rename(request, request.native() + ".nextcloud");
    EXPECT_EQ(link.receive().skippedCount, 1u) << "only its name is here";
    EXPECT_EQ(link.world.cloud.requested, std::vector<Path>{request});
    std::filesystem::remove(request.native() + ".nextcloud");
    link.world.folder.write(request, whole.substr(0, whole.size() / 2));
    EXPECT_EQ(link.receive().skippedCount, 1u) << "half of it is here";
    link.world.folder.write(request, whole);
    link.world.folder.write(link.edits() / "edit-1 (conflicted copy).enc", whole);
    EXPECT_EQ(link.receive().appliedCount, 1u) << "it is here, twice";
    const Path receipt = link.edits() / ("edit-result-" + id.toString() + ".enc");
    std::filesystem::rename(receipt, receipt.native() + ".nextcloud");
    EXPECT_EQ(link.receive().answeredCount(), 0u) << "the receipt's content was taken away";
}

TEST_F(PhoneEditsTest, AnAnswerThatGotLostBecomesAConflict) {
    const CrumbItem item = link.note("title");
    const Uuid request = link.ask(item, {{"title", "new"}});
    for (const Fault fault : {Fault::fail, Fault::crash}) {
        link.world.files.arm(fault, 1);
        EXPECT_ANY_THROW(link.receive());
        link.world.files.disarm();
        EXPECT_EQ(link.read(item.id).title, "new");
    }
    EXPECT_EQ(link.result(request), "");
    EXPECT_EQ(link.receive().conflictCount, 1u);
    expectAnswer(request, "conflict", changedHere);
}

TEST_F(PhoneEditsTest, WhatCannotBeSavedIsNotAnswered) {
    const CrumbItem item = link.note("title");
    const Uuid request = link.ask(item, {{"title", "new"}});
    link.open(LibraryAccess::reading);
    EXPECT_THROW(link.receive(), Error);
    EXPECT_EQ(link.read(item.id), item);
    EXPECT_EQ(link.result(request), "");
    link.open(LibraryAccess::writing);
    EXPECT_EQ(link.receive().appliedCount, 1u);
    EXPECT_EQ(link.read(item.id).title, "new");
}

}  // namespace
}  // namespace nookery
