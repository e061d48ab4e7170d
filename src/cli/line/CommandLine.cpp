#include "cli/line/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <optional>

#include "foundation/Text.h"

namespace nookery::cli {
namespace {

using Words = std::vector<std::string>;

bool isOption(const std::string& word) { return word.size() > 1 && word.front() == '-'; }

const Option* globalOption(const std::string& word) {
    for (const Option& option : globalOptions()) {
        if (word == "--" + option.name) return &option;
    }
    return nullptr;
}

/// "--name=value" as two words, so that an empty value stays one.
Words separated(const Words& words) {
    Words result;
    bool literal = false;
    for (const std::string& word : words) {
        const std::size_t equals = word.find('=');
        if (!literal && word.starts_with("--") && equals != std::string::npos) {
            result.push_back(word.substr(0, equals));
            result.push_back(word.substr(equals + 1));
        } else {
            result.push_back(word);
        }
        literal = literal || word == "--";
    }
    return result;
}

/// Where the next word stands that is neither a global option nor the value of one.
std::optional<std::size_t> nextWord(const Words& words, std::size_t from) {
    for (std::size_t i = from; i < words.size(); ++i) {
        if (!isOption(words[i])) return i;
        const Option* option = globalOption(words[i]);
        if (option == nullptr && words[i] != "-h") return std::nullopt;
        if (option != nullptr && !option->value.empty()) ++i;
    }
    return std::nullopt;
}

bool isFamily(const std::string& name) {
    return std::any_of(commandTable().begin(), commandTable().end(), [&](const Command& command) {
        return command.name.starts_with(name + " ");
    });
}

bool asksForHelp(const Words& words) {
    const auto end = std::find(words.begin(), words.end(), "--");
    return std::any_of(words.begin(), end,
                       [](const std::string& word) { return word == "--help" || word == "-h"; });
}

struct Found {
    const Command* command = nullptr;
    std::string name;  ///< of the command, or of a family
};

/// Takes the command's one or two words out of `words`.
Found takeCommand(Words& words) {
    const auto first = nextWord(words, 0);
    if (!first) return {};
    Found found{.command = findCommand(words[*first]), .name = words[*first]};
    const auto second = nextWord(words, *first + 1);
    const auto erase = [&](std::size_t at) {
        words.erase(words.begin() + static_cast<std::ptrdiff_t>(at));
    };
    if (second) {
        const std::string longName = found.name + " " + words[*second];
        if (const Command* command = findCommand(longName)) {
            found = {.command = command, .name = longName};
            erase(*second);
        }
    }
    if (!found.command && !isFamily(found.name)) {
        throw UsageError(fmt::format("There is no command \"{}\".", toValidUtf8(found.name)));
    }
    erase(*first);
    return found;
}

/// The parser's options beside the table's.
struct Declared {
    const Option* option;
    CLI::Option* parsed;
};

std::vector<Declared> declare(CLI::App& app, const std::vector<Option>& options) {
    std::vector<Declared> declared;
    for (const Option& option : options) {
        const std::string name = (option.name == "help" ? "-h,--" : "--") + option.name;
        CLI::Option* parsed = option.value.empty() ? app.add_flag(name) : app.add_option(name);
        if (!option.value.empty()) {
            parsed->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        }
        declared.push_back({&option, parsed});
    }
    return declared;
}

std::string withoutLineEnds(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

[[noreturn]] void explain(const CLI::ParseError& error) {
    std::string message = withoutLineEnds(error.what());
    constexpr std::string_view unexpected = "The following argument";
    if (message.starts_with(unexpected)) {
        message = "Unknown option:" + message.substr(message.find(':') + 1);
    }
    throw UsageError(toValidUtf8(message));
}

/// The parser takes "[a,b]" apart where words may repeat. A mark before it keeps it whole.
constexpr int mostWords = 1 << 28;
constexpr char wholeMark = '\x01';

Words shielded(Words words) {
    for (std::string& word : words) {
        if (word.starts_with('[') || word.starts_with(wholeMark)) word.insert(0, 1, wholeMark);
    }
    return words;
}

Words unshielded(Words words) {
    for (std::string& word : words) {
        if (word.starts_with(wholeMark)) word.erase(0, 1);
    }
    return words;
}

std::map<std::string, Words> collect(const std::vector<Declared>& declared) {
    std::map<std::string, Words> options;
    for (const auto& [option, parsed] : declared) {
        if (parsed->count() == 0) continue;
        Words& values = options[option->name];
        if (option->value.empty()) continue;
        values = unshielded(parsed->results());
        if (values.size() > 1 && !option->repeats) {
            throw UsageError(fmt::format("--{} was given more than once.", option->name));
        }
        for (const std::string& value : values) {
            if (option->offers == Offers::words &&
                std::find(option->words.begin(), option->words.end(), value) ==
                    option->words.end()) {
                throw UsageError(fmt::format("--{} is one of {}, not \"{}\".", option->name,
                                             fmt::join(option->words, ", "), toValidUtf8(value)));
            }
        }
    }
    return options;
}

void checkPositionals(const Command& command, const Words& given) {
    std::size_t most = 0;
    for (const Positional& positional : command.positionals) {
        if (positional.required && given.size() <= most) {
            throw UsageError(fmt::format("{} needs {}.", command.name, positional.name));
        }
        most = positional.repeats ? std::numeric_limits<std::size_t>::max() : most + 1;
    }
    if (given.size() > most) {
        throw UsageError(
            fmt::format("{} does not take \"{}\".", command.name, toValidUtf8(given[most])));
    }
}

Arguments parseOptions(const Words& words, const Command* command) {
    CLI::App app;
    app.set_help_flag();
    app.allow_windows_style_options(false);
    auto declared = declare(app, globalOptions());
    if (command != nullptr) {
        for (const Declared& own : declare(app, command->options)) declared.push_back(own);
    }
    const CLI::Option* rest = app.add_option("words")->expected(0, mostWords)->allow_extra_args();
    try {
        Words reversed = shielded(words);
        std::reverse(reversed.begin(), reversed.end());
        app.parse(std::move(reversed));
    } catch (const CLI::ParseError& error) {
        explain(error);
    }
    return {unshielded(rest->results()), collect(declared)};
}

}  // namespace

CommandLine parseCommandLine(const Words& given) {
    Words words = separated(given);
    const bool help = asksForHelp(words);
    const Found found = takeCommand(words);
    if (help && found.name != "help") {
        return {.command = findCommand("help"), .arguments = Arguments({found.name}, {})};
    }
    if (!found.command && !found.name.empty()) {
        throw UsageError(fmt::format("{} needs to be told what to do: see nookery {} --help.",
                                     found.name, found.name));
    }
    CommandLine line{.command = found.command, .arguments = parseOptions(words, found.command)};
    const Words& positionals = line.arguments.positionals();
    if (found.command) {
        checkPositionals(*found.command, positionals);
    } else if (!positionals.empty()) {
        throw UsageError(fmt::format("There is no command \"{}\".", toValidUtf8(positionals[0])));
    }
    return line;
}

}  // namespace nookery::cli
