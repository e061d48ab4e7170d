#include "cli/commands/Commands.h"

namespace nookery::cli {
namespace {

std::vector<Command> makeTable() {
    std::vector<Command> table;
    const auto add = [&](std::vector<Command> commands) {
        for (Command& command : commands) table.push_back(std::move(command));
    };
    add({addCommand(), searchCommand(), listCommand()});
    add(showCommands());
    add(editCommands());
    add({cleanupNamesCommand()});
    add(groupCommands());
    add(bringBackCommands());
    add(deleteCommands());
    add(historyCommands());
    add(snapshotCommands());
    add(archiveCommands());
    add(receiptImportCommands());
    add(receiptCommands());
    add(linkCommands());
    add(reportCommands());
    add(importAndExportCommands());
    add({inboxCommand(), watchCommand()});
    add({enrichCommand(), statsCommand(), problemsCommand(), verifyCommand()});
    add(configCommands());
    add(aboutCommands());
    return table;
}

}  // namespace

const std::vector<Option>& globalOptions() {
    static const std::vector<Option> options{
        {.name = "data-home",
         .value = "DIR",
         .help = "the folder that holds the library's folder \"Crumb\"",
         .offers = Offers::files},
        {.name = "json", .value = "", .help = "answer with one JSON document"},
        {.name = "quiet", .value = "", .help = "only data and errors"},
        {.name = "no-color", .value = "", .help = "no colours, also on a terminal"},
        {.name = "no-input", .value = "", .help = "never ask anything"},
        {.name = "help", .value = "", .help = "show help"},
        {.name = "version", .value = "", .help = "show the version"},
    };
    return options;
}

const std::vector<Command>& commandTable() {
    static const std::vector<Command> table = makeTable();
    return table;
}

const Command* findCommand(const std::string& name) {
    for (const Command& command : commandTable()) {
        if (command.name == name) return &command;
    }
    return nullptr;
}

}  // namespace nookery::cli
