#pragma once

#include <vector>

#include "cli/line/Command.h"

/// What each command file contributes to the table.
namespace nookery::cli {

Command addCommand();
std::vector<Command> importAndExportCommands();
Command listCommand();
std::vector<Command> showCommands();
std::vector<Command> editCommands();
std::vector<Command> groupCommands();
std::vector<Command> deleteCommands();
Command cleanupNamesCommand();
Command searchCommand();
std::vector<Command> bringBackCommands();
std::vector<Command> snapshotCommands();
std::vector<Command> archiveCommands();
std::vector<Command> receiptImportCommands();
std::vector<Command> receiptCommands();
std::vector<Command> linkCommands();
std::vector<Command> reportCommands();
Command reportDraftCommand();
Command enrichCommand();
Command statsCommand();
Command verifyCommand();
std::vector<Command> historyCommands();
Command problemsCommand();
Command inboxCommand();
Command watchCommand();
std::vector<Command> configCommands();
std::vector<Command> aboutCommands();

}  // namespace nookery::cli
