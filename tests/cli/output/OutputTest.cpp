#include "cli/output/Output.h"

#include <gtest/gtest.h>

#include "cli/output/Messages.h"
#include "cli/output/TextLayout.h"
#include "foundation/Json.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

class RecordingConsole final : public Console {
  public:
    const ConsoleTraits& traits() const override { return traits_; }
    std::stop_token stop() const override { return {}; }
    void write(std::string_view text) override { written += text; }
    void writeMessage(std::string_view text) override { written += text; }
    void showProgress(std::string_view text) override { written += text; }
    void ask(std::string_view, std::string_view, Answered) override {}
    void read(Read) override {}
    void openOnDesktop(const std::string&, Opened) override {}

    std::string written;

  private:
    ConsoleTraits traits_;
};

TEST(Output, OnlyTheProgramsOwnStylesReachTheTerminal) {
    const std::string hostile = "x\x1b]0;title\x07\x1b[2Jy\u202e\u009bz\r";
    const std::string shown = "x]0;title [2Jy  z ";
    RecordingConsole console;
    Output output(console);
    const Style style = Style::coloured();
    output.writeLine(style.inTitle(hostile) + style.inDim("é"));
    output.flush();
    EXPECT_EQ(console.written, style.inTitle(shown) + style.inDim("é") + "\n");

    console.written.clear();
    Messages(console, false).say("a\u2067\x1b[1m\nb");
    EXPECT_EQ(console.written, "a  [1m\nb\n");

    const Json document{{"name", hostile + "é"}};
    const std::string json = printableJson(toJsonText(document));
    EXPECT_EQ(withoutSteering(json), json);
    EXPECT_EQ(parseJson(json), document);
}

}  // namespace
}  // namespace nookery::cli
