#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "cli/NameWatch.h"
#include "cli/NookeryProgram.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

using testing::NameWatch;
using testing::NookeryProgram;
using testing::Outcome;

std::size_t lineCount(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(Trouble, EveryFailureHasItsStatusAndOneLine) {
    const NookeryProgram nookery;
    nookery.json({"add", "--text", "a note"});
    const std::vector<std::pair<std::vector<std::string>, int>> cases{
        {{}, 2},
        {{"serch", "x"}, 2},
        {{"search"}, 2},
        {{"add"}, 2},
        {{"list", "--limit", "many"}, 2},
        {{"bring-back", "A", "someday"}, 2},
        {{"config", "set", "appearance", "pink"}, 2},
        {{"config", "get", "colour"}, 2},
        {{"show", "no such id"}, 1},
        {{"show", ""}, 1},
        {{"show", "'; DROP TABLE crumbs; --"}, 1},
        {{"add", "/no/such/file"}, 1},
        {{"add", "--text", "x", "--group", "none such"}, 1},
        {{"import", "/no/such/file"}, 1},
        {{"import", "/"}, 1},
        {{"export", "/no/such/folder/out.jsonl"}, 1},
        {{"snapshot", "restore", "yesterday", "--yes"}, 1},
        {{"--data-home", "/proc/none", "add", "--text", "x"}, 1},
        {{"--data-home", "/dev/null", "list"}, 1},
        {{"--data-home", "", "list"}, 1},
        {{"help", "lost"}, 2},
    };
    for (const auto& [words, status] : cases) {
        const Outcome plain = nookery.run(words);
        const std::string shown = ::testing::PrintToString(words) + plain.out + plain.error;
        EXPECT_EQ(plain.status, status) << shown;
        if (words.empty()) continue;
        auto asJson = words;
        asJson.insert(asJson.begin(), "--json");
        const Outcome machine = nookery.run(asJson);
        EXPECT_EQ(machine.status, status) << shown;
        EXPECT_TRUE(machine.json().is_object()) << shown;
        if (words.front() == "add" && words.back() == "/no/such/file") continue;  // a report
        EXPECT_EQ(lineCount(plain.error), 1u) << shown;
        EXPECT_TRUE(plain.error.starts_with("nookery: ")) << shown;
        EXPECT_EQ(plain.out, "") << shown;
    }
    EXPECT_EQ(nookery.json({"list"})["count"], 1);
}

TEST(Trouble, ReadingBeforeTheFirstAddNamesTheMissingLibrary) {
    const NookeryProgram nookery;
    for (const char* command : {"list", "stats"}) {
        const Outcome outcome = nookery.run({command});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_NE(outcome.error.find(nookery.library.native()), std::string::npos);
    }
    EXPECT_TRUE(nookery.home.filesBelow().empty()) << "reading created something";
}

TEST(Trouble, ADamagedLibraryIsSaidAndLeftAlone) {
    NookeryProgram nookery;
    nookery.workAlone();
    nookery.json({"add", "--text", "a note"});
    const Path database = ".local/share/Crumb/crumb.sqlite3";
    nookery.home.write(database, "not a database at all, but long enough to look at");
    for (const char* command : {"list", "stats"}) {
        const Outcome outcome = nookery.run({command});
        EXPECT_EQ(outcome.status, 1) << outcome.out;
        EXPECT_EQ(lineCount(outcome.error), 1u) << outcome.error;
    }
    EXPECT_EQ(nookery.run({"add", "--text", "another"}).status, 1);
    EXPECT_TRUE(nookery.home.read(database).starts_with("not a database"));
}

TEST(Trouble, OneProcessOwnsTheLibraryAndOthersMayStillRead) {
    NookeryProgram nookery;
    nookery.workAlone();
    nookery.json({"add", "--text", "first"});
    const NameWatch names(nookery.library);
    const auto owner = nookery.start({"--json", "add", "-"});
    names.waitFor(1);  // the write-ahead log: the owner has the library open and waits for input
    const Outcome refused = nookery.run({"add", "--text", "second"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.error.find("in use by process "), std::string::npos) << refused.error;
    EXPECT_EQ(nookery.json({"list"})["count"], 1);
    EXPECT_EQ(owner->finish("from standard input").json()["added"].size(), 1u);
    EXPECT_EQ(nookery.run({"add", "--text", "second"}).status, 0);
}

TEST(Trouble, AnInterruptedAddLeavesWholeMemoriesAndGoesOnNextTime) {
    const NookeryProgram nookery;
    constexpr int fileCount = 600;
    nookery.home.write("first.txt", "first");
    nookery.json({"add", "first.txt"});
    for (int i = 0; i < fileCount; ++i) {
        const std::string number = std::to_string(i);
        nookery.home.write("many/" + number + ".txt", "file number " + number);
    }
    const NameWatch names(nookery.library / "Items");
    const auto running = nookery.start({"--json", "add", "many"});
    names.waitFor(100);
    running->signal(SIGINT);
    const Outcome interrupted = running->finish();
    EXPECT_EQ(interrupted.status, 130) << interrupted.error;
    const Json report = interrupted.json();
    EXPECT_EQ(report["cancelled"], true);
    const std::size_t added = report["added"].size();
    EXPECT_LT(added, std::size_t{fileCount});
    EXPECT_EQ(nookery.json({"list"})["count"], added + 1);
    EXPECT_EQ(nookery.home.filesBelow(".local/share/Crumb/Items").size(), added + 1);

    const Json rest = nookery.json({"add", "many"});
    EXPECT_EQ(rest["added"].size(), fileCount - added);
    EXPECT_EQ(rest["duplicates"].size(), added);
}

TEST(Trouble, AnInterruptWhileWaitingForInputEndsAtOnce) {
    NookeryProgram nookery;
    nookery.workAlone();
    nookery.json({"add", "--text", "first"});
    const NameWatch names(nookery.library);
    const auto running = nookery.start({"add", "-"});
    names.waitFor(1);
    running->signal(SIGTERM);
    EXPECT_EQ(running->finishWhileItWaits().status, 130);
    EXPECT_EQ(nookery.json({"list"})["count"], 1);
}

TEST(Trouble, OutputThatCannotBeWrittenIsAFailure) {
    const NookeryProgram nookery;
    std::string lines;
    for (int i = 0; i < 3000; ++i) lines += "{\"text\":\"line " + std::to_string(i) + "\"}\n";
    nookery.json({"import", "-"}, {.input = lines});
    const Outcome full = nookery.run({"export", "-"}, {.outputTo = "/dev/full"});
    EXPECT_EQ(full.status, 1);
    EXPECT_NE(full.error.find("No space left"), std::string::npos) << full.error;
    const Outcome closed = nookery.run({"list", "--limit", "3000"}, {.closeOutput = true});
    EXPECT_EQ(closed.status, 1);
    EXPECT_EQ(closed.error, "");
    // What was to be done is done, although nobody hears of it.
    EXPECT_EQ(nookery.run({"--json", "add", "--text", "more"}, {.closeOutput = true}).status, 1);
    EXPECT_EQ(nookery.json({"list"})["count"], 3001);
}

TEST(Trouble, NamesAndTextsOfAnyBytesComeThrough) {
    const NookeryProgram nookery;
    const std::string odd = "odd \xFF\xFE\n\x1b[31m name.txt";
    nookery.home.write(Path("in") / odd, "searchable whatever its name");
    const Json report = nookery.json({"add", "in", "--text", "bytes \xC3\x28 in \xFF text"});
    EXPECT_EQ(report["added"].size(), 2u) << report;
    const std::string id = nookery.json({"search", "whatever"})["hits"][0]["id"];
    const Path original = trimmed(nookery.run({"open", "--print", id}).out);
    EXPECT_EQ(nookery.home.read(original.lexically_relative(nookery.home.path())),
              "searchable whatever its name");
    for (const char* command : {"list", "show"}) {
        std::vector<std::string> words{command};
        if (words[0] == "show") words.push_back(id);
        const std::string out = nookery.run(words).out;
        EXPECT_TRUE(isValidUtf8(out)) << out;
        EXPECT_EQ(out.find('\x1b'), std::string::npos) << out;
    }
    EXPECT_EQ(nookery.json({"delete", "--yes", id})["deleted"], 1);
    EXPECT_EQ(nookery.home.read(".local/share/Trash/files" / original.filename()),
              "searchable whatever its name");
}

TEST(Trouble, BashAcceptsItsCompletionScript) {
    const NookeryProgram nookery;
    nookery.home.write("completion.bash", nookery.run({"completion", "bash"}).out);
    const std::string script = "cd '" + nookery.home.path().native() +
                               "' && . ./completion.bash && COMP_WORDS=(nookery snapshot re) && "
                               "COMP_CWORD=2 && _nookery && echo \"${COMPREPLY[*]}\"";
    FILE* shell = ::popen(("bash <<'END'\n" + script + "\nEND").c_str(), "r");
    std::array<char, 256> line{};
    ASSERT_NE(::fgets(line.data(), line.size(), shell), nullptr);
    EXPECT_STREQ(line.data(), "restore\n");
    EXPECT_EQ(::pclose(shell), 0);
}

TEST(Trouble, ADocumentThatTakesTooMuchMemoryTakesNothingElseWithIt) {
    const NookeryProgram nookery;
    std::string content;
    while (content.size() < 40'000'000) content += "q q q q q q q q ";
    const Path folder = nookery.home / "in";
    nookery.home.write(
        "in/bomb.pdf",
        "%PDF-1.4\n1 0 obj <</Type/Catalog/Pages 2 0 R>> endobj\n"
        "2 0 obj <</Type/Pages/Kids[3 0 R]/Count 1>> endobj\n"
        "3 0 obj <</Type/Page/Parent 2 0 R/MediaBox[0 0 9 9]/Contents 4 0 R>> endobj\n"
        "4 0 obj <</Length " +
            std::to_string(content.size()) + ">> stream\n" + content +
            "endstream endobj\ntrailer <</Root 1 0 R>>\n");
    nookery.home.write("in/note.txt", "Feed the cat.");
    const Json added = nookery.json({"add", folder});
    EXPECT_EQ(added.at("added").size(), 2U);
    const Json enriched = nookery.json({"enrich"});
    EXPECT_EQ(enriched.at("pending"), 0);
    EXPECT_EQ(enriched.at("failed").at(0).at("message"),
              "\"bomb.pdf\" was given up: it takes too much memory or crashes the PDF library.");
}

}  // namespace
}  // namespace nookery
