#include "cli/line/CommandLine.h"

#include <gtest/gtest.h>

#include <map>

#include "cli/context/Places.h"
#include "cli/line/Help.h"
#include "cli/output/TextLayout.h"
#include "support/TemporaryDirectory.h"

namespace nookery::cli {
namespace {

using Words = std::vector<std::string>;

TEST(CommandLine, GlobalOptionsStandBeforeOrAfterTheCommand) {
    for (const Words& words : {Words{"--json", "--data-home", "x", "snapshot", "list"},
                               Words{"snapshot", "--data-home=x", "list", "--json"},
                               Words{"snapshot", "list", "--json", "--data-home", "x"}}) {
        const CommandLine line = parseCommandLine(words);
        ASSERT_NE(line.command, nullptr);
        EXPECT_EQ(line.command->name, "snapshot list");
        EXPECT_TRUE(line.arguments.has("json"));
        EXPECT_EQ(line.arguments.value("data-home"), "x");
    }
}

TEST(CommandLine, WordsReachTheCommandAsTheyWereTyped) {
    const Words odd{"[a,b]",
                    "[]",
                    "",
                    "%%",
                    "++",
                    "{}",
                    "a=b",
                    "\x01[x]",
                    "list",
                    "-",
                    "\xFF",
                    "#tag",
                    "\n",
                    "'\"",
                    "-- not one",
                    "../x",
                    "https://example.org/?a=[1]"};
    Words words{"search", "--limit", "3", "--"};
    words.insert(words.end(), odd.begin(), odd.end());
    words.push_back("--limit");
    const CommandLine line = parseCommandLine(words);
    Words expected = odd;
    expected.push_back("--limit");
    EXPECT_EQ(line.arguments.positionals(), expected);
    EXPECT_EQ(line.arguments.count("limit", 1), 3u);

    for (const std::string value : {"", "-5", "--note", "[a,b]", "a=b", "\x01"}) {
        for (const Words& given :
             {Words{"edit", "ID", "--note=" + value}, Words{"edit", "ID", "--note", value}}) {
            if (given.size() == 4 && value.starts_with("--")) continue;
            EXPECT_EQ(parseCommandLine(given).arguments.value("note"), value) << value;
        }
    }
}

TEST(CommandLine, WhatCannotBeUnderstoodIsRefused) {
    for (const Words& words : {
             Words{"ad"},
             Words{"snapshot"},
             Words{"snapshot", "lost"},
             Words{"add", "--fast"},
             Words{"--"},
             Words{"--", "list"},
             Words{"list", "--kind", "poem"},
             Words{"show"},
             Words{"show", "a", "b"},
             Words{"edit", "a", "--title"},
             Words{"list", "--json=yes"},
             Words{"edit", "a", "--title", "x", "--title", "y"},
             Words{""},
             Words{"recall", "a"},
         }) {
        if (words == Words{"--"}) {
            EXPECT_EQ(parseCommandLine(words).command, nullptr);
            continue;
        }
        EXPECT_THROW(parseCommandLine(words), UsageError) << words.front();
    }
    for (const char* number : {"0", "-1", "1x", "", "99999999999999999999", "1.5"}) {
        const auto line = parseCommandLine({"list", std::string("--limit=") + number});
        EXPECT_THROW(line.arguments.count("limit", 1), UsageError) << number;
    }
}

TEST(CommandLine, HelpManPageAndCompletionKnowEveryCommandAndOption) {
    const std::string page = manualPage();
    for (const Command& command : commandTable()) {
        const std::string help = commandHelp(command.name);
        EXPECT_TRUE(help.starts_with("Examples:\n  nookery ")) << command.name;
        EXPECT_TRUE((command.run == nullptr) != (command.text == nullptr)) << command.name;
        for (const Option& option : command.options) {
            EXPECT_NE(help.find("--" + option.name), std::string::npos) << option.name;
            for (const char* shell : {"bash", "zsh", "fish"}) {
                EXPECT_NE(completionScript(shell).find(option.name), std::string::npos);
            }
        }
        for (const Example& example : command.examples) {
            // An example is a command line; what a shell would take out of it is cut off first.
            const std::string line = example.line.substr(0, example.line.find_first_of("<>|"));
            Words words{};
            std::string word;
            char quote = 0;
            bool begun = false;
            for (const char c : line + " ") {
                if (quote != 0 ? c == quote : c == '"' || c == '\'') {
                    quote = quote != 0 ? 0 : c;
                    begun = true;
                } else if (quote == 0 && c == ' ') {
                    if (begun) words.push_back(word);
                    word.clear();
                    begun = false;
                } else {
                    word += c;
                    begun = true;
                }
            }
            EXPECT_NO_THROW(parseCommandLine(words)) << example.line;
        }
        if (!command.isHidden) {
            std::string name;
            for (const char c : command.name) name += c == '-' ? "\\-" : std::string(1, c);
            EXPECT_NE(page.find(".SS nookery " + name), std::string::npos) << command.name;
        }
    }
}

TEST(Places, FollowTheDesktopUntilTheyAreOverridden) {
    std::map<std::string, std::string> variables{{"HOME", "/home/ada"}};
    const Environment environment = [&](const char* name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
    Places places = findPlaces(environment, {}, "/home/me/folder");
    EXPECT_EQ(places.dataHome, "/home/ada/.local/share");
    EXPECT_EQ(places.configHome, "/home/ada/.config/nookery");
    EXPECT_EQ(places.cacheHome, "/home/ada/.cache/nookery");

    variables["XDG_CONFIG_HOME"] = "relative, so to be ignored";
    variables["NOOKERY_DATA_HOME"] = "../mine";
    places = findPlaces(environment, {}, "/home/me/folder");
    EXPECT_EQ(places.dataHome, "/home/me/mine");
    EXPECT_EQ(places.configHome, "/home/me/mine/config");
    EXPECT_EQ(places.userData, "/home/ada/.local/share");

    variables["NOOKERY_CONFIG_HOME"] = "/etc/mine";
    places = findPlaces(environment, "/other", "/home/me/folder");
    EXPECT_EQ(places.dataHome, "/other");
    EXPECT_EQ(places.configHome, "/etc/mine");

    variables = {};
    EXPECT_THROW(findPlaces(environment, {}, "/"), Error);
    EXPECT_EQ(findPlaces(environment, "/other", "/").userData, "/other");
}

TEST(TextLayout, NothingInATextSteersTheTerminal) {
    EXPECT_EQ(printable("a\x1b[31mred\a\r\nb\xC2\x9B"
                        "2J\xE2\x80\xAE"
                        "c\xFF"),
              "a [31mred b 2J c\xEF\xBF\xBD");
    EXPECT_EQ(printableLines(" two \n\n lines\t "), "two\n\nlines");
}

TEST(TextLayout, ColumnsAreCountedAsTheTerminalShowsThem) {
    EXPECT_EQ(columnCount("cafe\xCC\x81"), 4u);
    EXPECT_EQ(columnCount("日本"), 4u);
    EXPECT_EQ(fitted("日本語", 5), "日本…");
    EXPECT_EQ(fitted("日本語", 4), "日…");
    EXPECT_EQ(fitted("short", 5), "short");
    EXPECT_EQ(padded("日", 4), "日  ");
    EXPECT_EQ(wrapped("one two three verylongword x", 8),
              (Words{"one two", "three", "verylongword", "x"}));
}

TEST(TextLayout, DatesAndSizesReadAsPeopleSayThem) {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    const Timestamp now = *parseIso8601("2026-03-10T12:00:00Z");
    const auto said = [&](const char* date) { return spokenDate(*parseIso8601(date), now); };
    EXPECT_EQ(said("2026-03-10T11:59:30Z"), "just now");
    EXPECT_EQ(said("2026-03-10T11:58:59Z"), "1 minute ago");
    EXPECT_EQ(said("2026-03-10T02:00:00Z"), "10 hours ago");
    EXPECT_EQ(said("2026-03-09T23:59:00Z"), "yesterday");
    EXPECT_EQ(said("2026-03-08T00:00:00Z"), "2 days ago");
    EXPECT_EQ(said("2026-03-01T00:00:00Z"), "1 March");
    EXPECT_EQ(said("2025-12-31T00:00:00Z"), "31 December 2025");
    EXPECT_EQ(said("2026-03-11T00:00:00Z"), "tomorrow");
    EXPECT_EQ(spokenByteCount(999), "999 bytes");
    EXPECT_EQ(spokenByteCount(999'999), "1.0 MB");
    EXPECT_EQ(spokenByteCount(123'400), "123 kB");
}

}  // namespace
}  // namespace nookery::cli
