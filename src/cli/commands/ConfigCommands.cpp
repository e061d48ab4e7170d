#include <fmt/format.h>

#include <algorithm>

#include "cli/commands/Commands.h"
#include "cli/context/CommandContext.h"
#include "cli/output/TextLayout.h"
#include "foundation/Text.h"
#include "platform/CloudContainer.h"
#include "platform/UserDefaults.h"

namespace nookery::cli {
namespace {

/// A setting as people know it, and where it is kept.
struct Setting {
    std::string name;
    std::string key;
    std::string help;
    std::string standard;            ///< when nothing is set; empty: nothing
    std::vector<std::string> words;  ///< all it may be; empty: an absolute folder
};

const std::vector<Setting>& settings() {
    static const std::vector<Setting> all{
        {"cloud-folder",
         std::string(cloudFolderDefaultsKey),
         "the cloud-drive folder shared with the phone",
         "",
         {}},
        {"appearance",
         "NOOKERY.Appearance.v1",
         "how windows look",
         "system",
         {"system", "light", "dark"}},
    };
    return all;
}

const Setting& findSetting(const std::string& name) {
    for (const Setting& setting : settings()) {
        if (setting.name == name) return setting;
    }
    throw UsageError(fmt::format("There is no setting \"{}\"; nookery config list shows them.",
                                 printable(name)));
}

std::string valueOf(CommandContext& context, const Setting& setting) {
    return context.platform().defaults.get(setting.key).value_or(setting.standard);
}

void answer(CommandContext& context, const Setting& setting) {
    const std::string value = valueOf(context, setting);
    if (context.wantsJson()) {
        context.print({{"name", setting.name},
                       {"value", value.empty() ? OrderedJson() : OrderedJson(value)}});
    } else {
        context.out().writeLine(value);
    }
}

std::string checked(const Setting& setting, const std::string& value) {
    if (setting.words.empty()) {
        if (!value.empty() && !Path(value).is_absolute()) {
            throw UsageError(fmt::format("{} needs the whole path of a folder.", setting.name));
        }
    } else if (std::find(setting.words.begin(), setting.words.end(), value) ==
               setting.words.end()) {
        throw UsageError(
            fmt::format("{} is one of {}.", setting.name, fmt::join(setting.words, ", ")));
    }
    return value;
}

Coroutine<int> runGet(CommandContext& context, const Arguments& arguments) {
    answer(context, findSetting(arguments.positional(0)));
    co_return exitDone;
}

Coroutine<int> runSet(CommandContext& context, const Arguments& arguments) {
    const Setting& setting = findSetting(arguments.positional(0));
    const std::string value = checked(setting, arguments.positional(1));
    if (value.empty()) {
        context.platform().defaults.remove(setting.key);
    } else {
        context.platform().defaults.set(setting.key, value);
    }
    answer(context, setting);
    co_return exitDone;
}

Coroutine<int> runList(CommandContext& context, const Arguments&) {
    OrderedJson list = OrderedJson::object();
    for (const Setting& setting : settings()) {
        const std::string value = valueOf(context, setting);
        list[setting.name] = value.empty() ? OrderedJson() : OrderedJson(value);
        if (context.wantsJson()) continue;
        context.out().writeLine(
            fmt::format("{}{}", padded(setting.name, 16),
                        value.empty() ? context.style().inDim("(not set)") : printable(value)));
    }
    if (context.wantsJson()) context.print({{"settings", std::move(list)}});
    co_return exitDone;
}

}  // namespace

std::vector<Command> configCommands() {
    std::vector<std::string> names;
    std::string notes;
    for (const Setting& setting : settings()) {
        names.push_back(setting.name);
        notes += fmt::format("{}{}: {}.", notes.empty() ? "" : "\n", setting.name, setting.help);
    }
    const Positional name{
        .name = "NAME", .help = "the setting", .offers = Offers::words, .words = names};
    return {{.name = "config get",
             .summary = "Print a setting",
             .examples = {{"config get appearance", "its value, or an empty line"}},
             .positionals = {name},
             .notes = notes,
             .run = runGet},
            {.name = "config set",
             .summary = "Change a setting",
             .examples = {{"config set appearance dark", "kept for every program of NOOKERY"},
                          {"config set cloud-folder ''", "takes the setting away"}},
             .positionals = {name, {"VALUE", "the new value; an empty one takes it away"}},
             .notes = notes,
             .run = runSet},
            {.name = "config list",
             .summary = "List the settings",
             .examples = {{"config list", "with their values"}},
             .run = runList}};
}

}  // namespace nookery::cli
