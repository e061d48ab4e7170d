#include <gtest/gtest.h>

#include <set>

#include "cli/NookeryProgram.h"

namespace nookery {
namespace {

using testing::NookeryProgram;
using testing::Outcome;

std::set<std::string> keysOf(const Json& object) {
    std::set<std::string> keys;
    for (const auto& [key, value] : object.items()) keys.insert(key);
    return keys;
}

std::string idOf(const Json& memory) { return memory.at("id"); }

class FlowTest : public ::testing::Test {
  protected:
    std::string addText(const std::string& text, const std::vector<std::string>& more = {}) {
        std::vector<std::string> words{"add", "--text", text};
        words.insert(words.end(), more.begin(), more.end());
        return idOf(nookery.json(words).at("added").at(0));
    }

    std::vector<std::string> found(const std::vector<std::string>& query) {
        std::vector<std::string> words{"search"};
        words.insert(words.end(), query.begin(), query.end());
        std::vector<std::string> titles;
        const Json result = nookery.json(words);
        for (const Json& hit : result.at("hits")) titles.push_back(hit.at("title"));
        return titles;
    }

    NookeryProgram nookery;
};

TEST_F(FlowTest, WhatIsTakenInIsListedShownAndFound) {
    nookery.home.write("papers/Rental contract.txt", "The deposit is 900 euro.\n");
    nookery.home.write("papers/deep/Garden plan.md", "# Garden\nTulips along the fence\n");
    const Json report =
        nookery.json({"add", "papers", "https://example.org/seeds", "--text",
                      "Ask Ada about tulips #garden", "--tag", "spring", "--note", "for April"});
    EXPECT_EQ(keysOf(report), (std::set<std::string>{"added", "cancelled", "duplicates", "failed",
                                                     "skipped", "versions", "warnings"}));
    ASSERT_EQ(report["added"].size(), 4u) << report;
    EXPECT_TRUE(report["failed"].empty());

    const Json list = nookery.json({"list", "--limit", "2"});
    EXPECT_EQ(list["count"], 4);
    EXPECT_EQ(list["items"].size(), 2u);
    EXPECT_EQ(nookery.json({"list", "--kind", "url"})["items"][0]["urlString"],
              "https://example.org/seeds");
    EXPECT_EQ(nookery.json({"list", "--tag", "#Garden"})["count"], 1);
    EXPECT_EQ(nookery.json({"list", "--tag", "spring"})["count"], 4);

    const Json result = nookery.json({"search", "deposit", "--limit", "5"});
    EXPECT_EQ(keysOf(result),
              (std::set<std::string>{"deepMicros", "elapsedMicros", "hits", "query", "total"}));
    ASSERT_EQ(result["hits"].size(), 1u);
    const Json hit = result["hits"][0];
    EXPECT_EQ(hit["title"], "Rental contract");
    EXPECT_NE(hit["excerpt"].get<std::string>().find("«deposit»"), std::string::npos) << hit;
    EXPECT_FALSE(hit["hint"].get<std::string>().empty());
    EXPECT_EQ(hit["note"], "for April");
    EXPECT_EQ(hit["kind"], "file");
    EXPECT_TRUE(hit["createdAt"].get<std::string>().ends_with("Z"));
    EXPECT_FALSE(hit.contains("searchableText"));
    EXPECT_EQ(found({"tulips"}).size(), 2u);

    const std::string prefix = idOf(hit).substr(0, 8);
    const Json shown = nookery.json({"show", prefix});
    EXPECT_NE(shown["searchableText"].get<std::string>().find("900 euro"), std::string::npos);
    const Outcome place = nookery.run({"open", "--print", prefix});
    EXPECT_EQ(place.out, (nookery.library / "Items/Rental contract.txt").native() + "\n");
    EXPECT_EQ(nookery.home.read(".local/share/Crumb/Items/Rental contract.txt"),
              nookery.home.read("papers/Rental contract.txt"));
}

TEST_F(FlowTest, EveryChangeShowsInTheNextCommand) {
    const std::string id = addText("Lemon cake for Sunday");
    const std::string other = addText("Bicycle repaired");
    nookery.json({"edit", id, "--title", "Cherry pie", "--text", "sour cherries", "--note=bake"});
    EXPECT_TRUE(found({"lemon", "--lexical"}).empty());
    EXPECT_EQ(found({"cherries"}), std::vector<std::string>{"Cherry pie"});

    EXPECT_EQ(nookery.json({"tag", id, "--add", "#Oven", "--add", "dessert"})["tags"],
              (Json{"dessert", "Oven"}));
    EXPECT_EQ(found({"#oven"}), std::vector<std::string>{"Cherry pie"});
    EXPECT_EQ(nookery.json({"tag", id, "--remove", "OVEN"})["tags"], Json{"dessert"});
    EXPECT_EQ(nookery.run({"tag", id, "--remove", "oven"}).status, 1);

    EXPECT_EQ(nookery.json({"group", "create", "Kitchen"})["groups"][0]["name"], "Kitchen");
    EXPECT_EQ(nookery.run({"group", "create", "Kitchen"}).status, 1);
    EXPECT_EQ(nookery.json({"group", "assign", "Kitchen", id, other})["groups"][0]["count"], 2);
    EXPECT_EQ(nookery.json({"group", "remove", other})["groups"][0]["count"], 1);
    nookery.json({"group", "rename", "Kitchen", "Küche"});
    EXPECT_EQ(nookery.json({"show", id})["group"], "Küche");
    EXPECT_EQ(nookery.json({"list", "--group", "Küche"})["count"], 1);

    nookery.json({"bring-back", id, "2031-05-01T08:00:00Z"});
    const Json back = nookery.json({"bring-back", "list"});
    EXPECT_EQ(back["items"][0]["bringBackDate"], "2031-05-01T08:00:00Z");
    EXPECT_EQ(back["items"][0]["hasComeBack"], false);
    nookery.json({"bring-back", id, "--clear"});
    EXPECT_EQ(nookery.json({"bring-back", "list"})["count"], 0);

    nookery.json({"config", "set", "appearance", "dark"});
    EXPECT_EQ(nookery.json({"config", "get", "appearance"})["value"], "dark");
}

TEST_F(FlowTest, TheSameFileIsNotTakenInTwice) {
    nookery.home.write("a.txt", "the very same words");
    nookery.home.write("b.txt", "the very same words");
    const std::string id = idOf(nookery.json({"add", "a.txt"})["added"][0]);
    const Json again = nookery.json({"add", "b.txt", "a.txt"});
    EXPECT_TRUE(again["added"].empty());
    ASSERT_EQ(again["duplicates"].size(), 2u);
    EXPECT_EQ(again["duplicates"][0]["of"], id);
    const Outcome mixed = nookery.run({"--json", "add", "missing.txt", "a.txt"});
    EXPECT_EQ(mixed.status, 1);
    EXPECT_EQ(mixed.json()["failed"].size(), 1u);
    EXPECT_EQ(mixed.json()["duplicates"].size(), 1u);
}

TEST_F(FlowTest, DestructionLeavesASnapshotThatBringsEverythingBack) {
    nookery.home.write("letter.txt", "Dear Ada");
    const std::string letter = idOf(nookery.json({"add", "letter.txt"})["added"][0]);
    addText("A note", {"--tag", "kept"});
    EXPECT_EQ(nookery.run({"delete", letter}).status, 2);
    EXPECT_EQ(nookery.json({"delete", "--dry-run", letter})["wouldDelete"], 1);
    EXPECT_EQ(nookery.json({"list"})["count"], 2);

    const Json deleted = nookery.json({"delete", "--yes", letter});
    EXPECT_EQ(deleted["deleted"], 1);
    const std::string snapshot = deleted["snapshot"];
    EXPECT_EQ(nookery.home.read(".local/share/Trash/files/letter.txt"), "Dear Ada");
    EXPECT_EQ(nookery.json({"clear", "--yes"})["deleted"], 1);
    EXPECT_EQ(nookery.json({"list"})["count"], 0);

    const Json snapshots = nookery.json({"snapshot", "list"})["snapshots"];
    ASSERT_GE(snapshots.size(), 2u);
    const Json& first = snapshots[snapshots.size() - 2];
    EXPECT_EQ(keysOf(first), (std::set<std::string>{"byteCount", "createdAt", "managedFileCount",
                                                    "name", "reason"}));
    EXPECT_EQ(first["name"], snapshot);
    EXPECT_EQ(first["reason"], "before-bulk-delete");
    EXPECT_EQ(first["managedFileCount"], 1);
    EXPECT_EQ(snapshots.back()["reason"], "before-clear-library");

    EXPECT_EQ(nookery.run({"snapshot", "restore", snapshot}).status, 2);
    EXPECT_EQ(nookery.json({"snapshot", "restore", snapshot, "--yes"})["restored"], true);
    EXPECT_EQ(nookery.json({"list"})["count"], 2);
    EXPECT_EQ(nookery.json({"list", "--tag", "kept"})["count"], 1);
    EXPECT_EQ(nookery.home.read(".local/share/Crumb/Items/letter.txt"), "Dear Ada");
    EXPECT_EQ(nookery.run({"snapshot", "restore", "../../etc", "--yes"}).status, 1);
}

TEST_F(FlowTest, ATerminalIsAskedInTheProgramsOwnWords) {
    addText("precious");
    const std::string question = "Clear the entire NOOKERY library?";
    const Outcome no = nookery.runOnTerminal({"clear"}, "[y/N]", "\n");
    EXPECT_NE(no.out.find(question), std::string::npos) << no.out;
    EXPECT_NE(no.out.find("Original source files outside NOOKERY"), std::string::npos);
    EXPECT_EQ(no.status, 1);
    EXPECT_EQ(nookery.runOnTerminal({"clear"}, "[y/N]", "\x03").status, 130);
    EXPECT_EQ(nookery.json({"list"})["count"], 1);
    EXPECT_EQ(nookery.runOnTerminal({"clear"}, "[y/N]", "yes\n").status, 0);
    EXPECT_EQ(nookery.json({"list"})["count"], 0);
}

TEST_F(FlowTest, ExportAndImportCarryMemoriesToAnotherLibrary) {
    addText("Lemon cake\nzest of one lemon", {"--tag", "baking", "--note", "Ada's"});
    nookery.json({"add", "https://example.org/"});
    EXPECT_EQ(nookery.json({"export", "out.jsonl"}),
              (Json{{"path", "out.jsonl"}, {"records", 2}, {"leftOut", 0}}));
    EXPECT_EQ(nookery.run({"export", "out.jsonl"}).status, 1);
    const NookeryProgram other;
    const std::string lines = nookery.home.read("out.jsonl") + "{\"title\": 3}\n\n{\"titl";
    const Outcome imported = other.run({"--json", "import", "-"}, {.input = lines});
    EXPECT_EQ(imported.status, 1);
    EXPECT_EQ(imported.json()["added"], 2);
    EXPECT_EQ(imported.json()["failed"][0]["line"], 3);
    EXPECT_EQ(imported.json()["failed"][1]["line"], 5);
    EXPECT_EQ(other.run({"export", "-"}).out, nookery.home.read("out.jsonl"));
    EXPECT_EQ(other.json({"search", "zest"})["total"], 1);
}

TEST_F(FlowTest, VersionsAreListedAndMachineMadeTitlesCleanedUp) {
    nookery.home.write("Report final v2.txt", "one");
    nookery.home.write("report_draft3.txt", "two");
    nookery.home.write("IMG_4821.txt", "three");
    const Json added =
        nookery.json({"add", "Report final v2.txt", "report_draft3.txt", "IMG_4821.txt"})["added"];
    const std::string first = added[0]["id"];
    EXPECT_EQ(nookery.json({"versions", first})["items"][0]["id"], added[1]["id"]);
    EXPECT_EQ(nookery.json({"show", first})["versions"].size(), 1);
    EXPECT_EQ(nookery.json({"related", first})["items"].size(), 0);

    const Json listed = nookery.json({"cleanup-names"});
    EXPECT_EQ(listed["changed"], 0);
    ASSERT_EQ(listed["candidates"].size(), 1);
    EXPECT_EQ(listed["candidates"][0]["oldTitle"], "IMG_4821");
    EXPECT_EQ(nookery.run({"cleanup-names", "--apply"}).status, 2) << "nobody can be asked";
    EXPECT_EQ(nookery.json({"cleanup-names", "--apply", "--yes"})["changed"], 1);
    EXPECT_EQ(nookery.json({"show", added[2]["id"]})["title"], listed["candidates"][0]["newTitle"]);
    EXPECT_EQ(nookery.json({"cleanup-names"})["candidates"].size(), 0);
    EXPECT_EQ(nookery.home.read(".local/share/Crumb/Items/IMG_4821.txt"), "three");
}

TEST_F(FlowTest, BatchAnswersALineForEveryQueryAndForEveryKeystroke) {
    addText("tulips and daffodils");
    const Outcome batch =
        nookery.run({"search", "--batch", "--limit", "1"}, {.input = "tulips\n\nnothing"});
    std::vector<Json> answers;
    std::istringstream lines(batch.out);
    for (std::string line; std::getline(lines, line);) answers.push_back(parseJson(line));
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_EQ(answers[0]["total"], 1);
    EXPECT_EQ(answers[1]["query"], "");
    EXPECT_EQ(answers[2]["total"], 0);

    const Outcome typed = nookery.run({"search", "--batch", "--as-typed"}, {.input = "tül\n"});
    std::vector<std::string> queries;
    lines = std::istringstream(typed.out);
    for (std::string line; std::getline(lines, line);) {
        queries.push_back(parseJson(line)["query"]);
    }
    EXPECT_EQ(queries, (std::vector<std::string>{"t", "tü", "tül"}));
}

}  // namespace
}  // namespace nookery
