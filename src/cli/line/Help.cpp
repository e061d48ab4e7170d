#include "cli/line/Help.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/line/Arguments.h"
#include "cli/output/TextLayout.h"

namespace nookery::cli {
namespace {

constexpr std::size_t helpColumns = 80;
constexpr std::size_t nameColumns = 26;

/// What somebody sees who asks for help without a command.
const std::vector<Example>& firstExamples() {
    static const std::vector<Example> examples{
        {"add ~/Documents", "take in a folder of files"},
        {"add https://example.org/ --note \"for the trip\"", "keep a link with a note"},
        {"search lemon cake", "find it again from a scrap"},
        {"show 3F2A91C4", "everything about one memory"},
        {"open 3F2A91C4", "open its file or link"},
    };
    return examples;
}

std::string row(const std::string& name, const std::string& help) {
    std::string text;
    const auto lines = wrapped(help, helpColumns - nameColumns - 2);
    for (std::size_t i = 0; i < std::max<std::size_t>(lines.size(), 1); ++i) {
        const bool nameStandsAlone = i == 0 && name.size() + 2 > nameColumns;
        if (nameStandsAlone) text += fmt::format("  {}\n", name);
        const std::string left = i == 0 && !nameStandsAlone ? "  " + name : "";
        text += fmt::format("{}{}\n", padded(left, nameColumns), lines.empty() ? "" : lines[i]);
    }
    return text;
}

std::string optionName(const Option& option) {
    const std::string start = option.name == "help" ? "-h, --" : "--";
    return start + option.name + (option.value.empty() ? "" : " " + option.value);
}

std::string optionHelp(const Option& option) {
    std::string help = option.help;
    if (option.offers == Offers::words) {
        help += fmt::format(" ({})", fmt::join(option.words, ", "));
    }
    if (option.repeats) help += "; may be repeated";
    return help;
}

std::string optionRows(const std::vector<Option>& options) {
    std::string text;
    for (const Option& option : options) text += row(optionName(option), optionHelp(option));
    return text;
}

std::string exampleRows(const std::vector<Example>& examples) {
    std::string text = "Examples:\n";
    for (const Example& example : examples) {
        text += fmt::format("  nookery {}\n      {}\n", example.line, example.says);
    }
    return text;
}

std::string paragraphs(const std::string& text) {
    std::string result;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        result += "\n";
        for (const auto& line : wrapped(text.substr(start, end - start), helpColumns)) {
            result += line + "\n";
        }
        start = end + 1;
    }
    return result;
}

std::string helpOf(const Command& command) {
    std::string text = exampleRows(command.examples);
    text += "\nUsage: " + usageOf(command) + "\n" + paragraphs(command.summary + ".");
    if (!command.positionals.empty()) text += "\n";
    for (const Positional& positional : command.positionals) {
        text += row(positional.name, positional.help);
    }
    if (!command.options.empty()) text += "\nOptions:\n" + optionRows(command.options);
    text += paragraphs(command.notes);
    return text + "\nFor every command:\n" + optionRows(globalOptions());
}

}  // namespace

std::string usageOf(const Command& command) {
    std::string usage = "nookery " + command.name;
    for (const Positional& positional : command.positionals) {
        const std::string dots = positional.repeats ? "..." : "";
        usage += positional.required ? fmt::format(" {}{}", positional.name, dots)
                                     : fmt::format(" [{}{}]", positional.name, dots);
    }
    return command.options.empty() ? usage : usage + " [OPTIONS]";
}

std::string programHelp() {
    std::string text = exampleRows(firstExamples()) + "\nUsage: nookery COMMAND [ARGUMENTS]\n\n";
    text += "Keeps notes, links and files, and finds them again from whatever you remember.\n";
    text += "\nCommands (nookery COMMAND --help says more):\n";
    for (const Command& command : commandTable()) {
        if (!command.isHidden) text += row(command.name, command.summary);
    }
    return text + "\nFor every command:\n" + optionRows(globalOptions());
}

std::string commandHelp(const std::string& topic) {
    if (topic.empty()) return programHelp();
    std::string text;
    if (const Command* command = findCommand(topic)) text = helpOf(*command);
    std::string family;
    for (const Command& command : commandTable()) {
        if (command.name.starts_with(topic + " ")) family += row(command.name, command.summary);
    }
    if (text.empty() && family.empty()) {
        throw UsageError(fmt::format("There is no command \"{}\".", printable(topic)));
    }
    if (family.empty()) return text;
    return text + (text.empty() ? "" : "\nSee also:\n") + family;
}

std::string versionText(bool asJson) {
    return asJson ? fmt::format("{{\"name\":\"nookery\",\"version\":\"{}\"}}\n", NOOKERY_VERSION)
                  : fmt::format("nookery {}\n", NOOKERY_VERSION);
}

}  // namespace nookery::cli
