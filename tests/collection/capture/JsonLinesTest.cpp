#include "collection/capture/JsonLines.h"

#include <gtest/gtest.h>

#include "foundation/Json.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

constexpr Timestamp now{1'700'000'000};

TEST(JsonLines, WhatIsWrittenComesBack) {
    CrumbItem link;
    link.title = "Plums \"and\"\n pears";
    link.kind = CrumbKind::url;
    link.createdAt = {1'600'000'000.25};
    link.urlString = "https://example.org/";
    link.text = "";
    link.note = "see #jam";
    CrumbItem file;
    file.title = "scan";
    file.kind = CrumbKind::file;
    file.createdAt = now;
    file.searchableText = "what was read";
    for (const CrumbItem& item : {link, file}) {
        ImportedMemory back = memoryFromJsonLine(jsonLineOf(item, {"Kitchen", "b"}), {});
        EXPECT_NE(back.item.id, Uuid());
        back.item.id = item.id;
        EXPECT_EQ(back.item, item);
        EXPECT_EQ(back.tags, (std::vector<std::string>{"Kitchen", "b"}));
    }
}

TEST(JsonLines, MissingKeysFindTheirOwn) {
    const auto text = memoryFromJsonLine(R"({"text":"\nCall Ann\nsoon","else":[1]})", now).item;
    EXPECT_EQ(text.kind, CrumbKind::text);
    EXPECT_EQ(text.title, "Call Ann");
    EXPECT_EQ(text.createdAt, now);
    const auto link = memoryFromJsonLine(R"({"url":"http://www.example.org/a%20b"})", now).item;
    EXPECT_EQ(link.kind, CrumbKind::url);
    EXPECT_EQ(link.title, "example.org/a b");
    for (const char* bad :
         {"[1]", "{", R"({"kind":"Text"})", R"({"created":"yesterday"})", R"({"tags":"a"})",
          R"({"tags":[1]})", R"({"title":5})", R"({"url":"javascript:void 0"})",
          R"({"url":"--help"})", R"({"url":"file:///etc/passwd"})",
          R"({"url":"ssh://-oProxyCommand=x"})", R"({"url":""})",
          R"({"url":"http://a.org/\u001b[2J"})"}) {
        EXPECT_THROW(memoryFromJsonLine(bad, now), JsonError) << bad;
    }
}

TEST(JsonLines, BadAndEndlessLinesAreNamedAndTheRestIsRead) {
    testing::TestPlatform world;
    std::string content = "{\"title\":\"one\"}\n\n  \nnot json\n";
    content += "{\"title\":\"" + std::string(600'000, 'x') + "\"}\r\n";
    content += "{\"title\":\"two\xff\"}\n{\"title\":\"three\"}";
    const Path path = world.folder.write("in.jsonl", content);
    JsonLinesReader reader(world.files.openForReading(path), world.time, 500'000);
    std::vector<std::string> seen;
    while (const auto entry = reader.next()) {
        const auto* failure = std::get_if<ImportFailure>(&*entry);
        seen.push_back(failure ? std::to_string(failure->line)
                               : std::get<ImportedMemory>(*entry).item.title);
    }
    EXPECT_EQ(seen, (std::vector<std::string>{"one", "4", "5", "6", "three"}));
}

}  // namespace
}  // namespace nookery
