#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "cli/line/Arguments.h"
#include "cli/line/Help.h"

namespace nookery::cli {
namespace {

std::string single(std::string text) {
    std::replace(text.begin(), text.end(), '\'', ' ');
    return "'" + text + "'";
}

std::string firstWord(const std::string& name) { return name.substr(0, name.find(' ')); }

bool offersFiles(const Command& command) {
    return std::any_of(command.positionals.begin(), command.positionals.end(),
                       [](const Positional& p) { return p.offers == Offers::files; });
}

/// Everything that may follow a command's name: second words, options, fixed words.
std::string wordsAfter(const Command& command) {
    std::string words;
    for (const Command& other : commandTable()) {
        if (other.name.starts_with(command.name + " ")) {
            words += other.name.substr(command.name.size() + 1) + " ";
        }
    }
    for (const Positional& positional : command.positionals) {
        for (const std::string& word : positional.words) words += word + " ";
    }
    for (const auto* options : {&command.options, &globalOptions()}) {
        for (const Option& option : *options) words += "--" + option.name + " ";
    }
    return words;
}

/// The first words, each once, as commands of their own: families have no entry in the table.
std::vector<Command> firstWords() {
    std::vector<Command> result;
    std::set<std::string> seen;
    for (const Command& command : commandTable()) {
        const std::string first = firstWord(command.name);
        if (command.isHidden || !seen.insert(first).second) continue;
        const Command* own = findCommand(first);
        result.push_back(own != nullptr ? *own
                                        : Command{.name = first, .summary = command.summary});
    }
    return result;
}

std::string bashScript() {
    std::string cases;
    std::string names;
    for (const Command& command : firstWords()) names += command.name + " ";
    const auto addCase = [&](const Command& command) {
        cases += fmt::format("        {}) words={}; files={} ;;\n", single(command.name),
                             single(wordsAfter(command)), offersFiles(command) ? 1 : 0);
    };
    for (const Command& command : commandTable()) {
        if (!command.isHidden) addCase(command);
    }
    for (const Command& command : firstWords()) {
        if (findCommand(command.name) == nullptr) addCase(command);
    }
    return fmt::format(R"(# bash completion for nookery, made by "nookery completion bash"
_nookery() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} one=${{COMP_WORDS[1]}} two=${{COMP_WORDS[2]}}
    local words='' files=0
    if [ "$COMP_CWORD" -eq 1 ]; then
        COMPREPLY=($(compgen -W {} -- "$current"))
        return
    fi
    _nookery_words "$one"
    if [ "$COMP_CWORD" -gt 2 ]; then _nookery_words "$one $two"; fi
    COMPREPLY=($(compgen -W "$words" -- "$current"))
    if [ "$files" = 1 ]; then
        compopt -o filenames
        COMPREPLY+=($(compgen -f -- "$current"))
    fi
}}
_nookery_words() {{
    case $1 in
{}    esac
}}
complete -F _nookery nookery
)",
                       single(names), cases);
}

std::string zshScript() {
    std::string commands;
    std::string cases;
    std::string casesOfTwoWords;
    const auto caseOf = [](const Command& command) {
        return fmt::format("        {}) compadd -- {}{} ;;\n", single(command.name),
                           wordsAfter(command), offersFiles(command) ? "; _files" : "");
    };
    for (const Command& command : firstWords()) {
        commands += fmt::format("        {}\n", single(command.name + ":" + command.summary));
        cases += caseOf(command);
    }
    for (const Command& command : commandTable()) {
        const bool hasTwoWords = firstWord(command.name) != command.name;
        if (hasTwoWords && !command.isHidden) casesOfTwoWords += caseOf(command);
    }
    return fmt::format(R"(#compdef nookery
# zsh completion for nookery, made by "nookery completion zsh"
_nookery() {{
    local -a commands
    commands=(
{}    )
    if (( CURRENT == 2 )); then
        _describe command commands
        return
    fi
    if (( CURRENT > 3 )); then
        case "$words[2] $words[3]" in
{}        *) false ;;
        esac && return
    fi
    case $words[2] in
{}    esac
}}
_nookery "$@"
)",
                       commands, casesOfTwoWords, cases);
}

std::string fishOption(const std::string& condition, const Option& option) {
    return fmt::format("complete -c nookery{} -l {}{}{} -d {}\n", condition, option.name,
                       option.value.empty() ? "" : " -x",
                       option.offers == Offers::files ? " -F" : "", single(option.help));
}

std::string fishScript() {
    std::string text =
        "# fish completion for nookery, made by \"nookery completion fish\"\n"
        "complete -c nookery -f\n";
    for (const Option& option : globalOptions()) text += fishOption("", option);
    for (const Command& command : firstWords()) {
        text += fmt::format("complete -c nookery -n __fish_use_subcommand -a {} -d {}\n",
                            command.name, single(command.summary));
    }
    for (const Command& command : commandTable()) {
        if (command.isHidden) continue;
        std::string seen = "__fish_seen_subcommand_from " + firstWord(command.name);
        if (command.name != firstWord(command.name)) {
            const std::string second = command.name.substr(firstWord(command.name).size() + 1);
            text += fmt::format("complete -c nookery -n '{}' -a {} -d {}\n", seen, second,
                                single(command.summary));
            seen += "; and __fish_seen_subcommand_from " + second;
        }
        const std::string condition = fmt::format(" -n '{}'", seen);
        for (const Option& option : command.options) text += fishOption(condition, option);
        if (offersFiles(command)) text += fmt::format("complete -c nookery{} -F\n", condition);
    }
    return text;
}

}  // namespace

std::string completionScript(const std::string& shell) {
    if (shell == "bash") return bashScript();
    if (shell == "zsh") return zshScript();
    if (shell == "fish") return fishScript();
    throw UsageError("completion knows bash, zsh and fish.");
}

}  // namespace nookery::cli
