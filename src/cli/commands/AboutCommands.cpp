#include <fmt/format.h>

#include "cli/commands/Commands.h"
#include "cli/line/Arguments.h"
#include "cli/line/Help.h"

namespace nookery::cli {

std::vector<Command> aboutCommands() {
    return {
        {.name = "completion",
         .summary = "Print the completion script for a shell",
         .examples = {{"completion bash > ~/.local/share/bash-completion/completions/nookery",
                       "complete with the Tab key in bash"}},
         .positionals = {{.name = "SHELL",
                          .help = "bash, zsh or fish",
                          .offers = Offers::words,
                          .words = {"bash", "zsh", "fish"}}},
         .text =
             [](const Arguments& arguments) { return completionScript(arguments.positional(0)); }},
        {.name = "help",
         .summary = "Show help for a command",
         .examples = {{"help search", "what search can do"}},
         .positionals =
             {{.name = "COMMAND", .help = "one or two words", .required = false, .repeats = true}},
         .text =
             [](const Arguments& arguments) {
                 return commandHelp(fmt::format("{}", fmt::join(arguments.positionals(), " ")));
             }},
        {.name = "man",
         .summary = "Print the manual page",
         .examples = {{"man | man -l -", "read it"}},
         .isHidden = true,
         .text = [](const Arguments&) { return manualPage(); }},
    };
}

}  // namespace nookery::cli
