#include <fmt/format.h>

#include "cli/line/Help.h"

namespace nookery::cli {
namespace {

/// Text that roff takes as it is: no requests, no escapes, no hyphens for minus signs.
std::string roff(const std::string& text) {
    std::string result;
    bool atLineStart = true;
    for (const char c : text) {
        if (atLineStart && (c == '.' || c == '\'')) result += "\\&";
        if (c == '\\') {
            result += "\\e";
        } else if (c == '-') {
            result += "\\-";
        } else {
            result += c;
        }
        atLineStart = c == '\n';
    }
    return result;
}

std::string entry(const std::string& name, const std::string& help) {
    return fmt::format(".TP\n.B {}\n{}\n", roff(name), roff(help));
}

std::string optionEntries(const std::vector<Option>& options) {
    std::string text;
    for (const Option& option : options) {
        std::string help = option.help;
        if (option.offers == Offers::words) {
            help += fmt::format(" ({})", fmt::join(option.words, ", "));
        }
        text += entry("--" + option.name + (option.value.empty() ? "" : " " + option.value), help);
    }
    return text;
}

std::string section(const Command& command) {
    std::string text = fmt::format(".SS {}\n{}.\n", roff(usageOf(command)), roff(command.summary));
    for (const Positional& positional : command.positionals) {
        text += entry(positional.name, positional.help);
    }
    text += optionEntries(command.options);
    if (!command.notes.empty()) text += ".PP\n" + roff(command.notes) + "\n";
    for (const Example& example : command.examples) {
        text += fmt::format(".PP\n{}:\n.RS 4\n.nf\nnookery {}\n.fi\n.RE\n", roff(example.says),
                            roff(example.line));
    }
    return text;
}

constexpr std::string_view environmentEntries = R"(.TP
.B NOOKERY_DATA_HOME
the folder that holds the library's folder "Crumb", in place of $XDG_DATA_HOME; settings and cache
then lie inside it too
.TP
.B NOOKERY_CONFIG_HOME
the folder of the settings, in place of $XDG_CONFIG_HOME/nookery
.TP
.B NOOKERY_CLOUD_HOME
the cloud drive's folder, in place of the setting cloud-folder
.TP
.B NOOKERY_KEYSTORE
"secret-service", the desktop's keyring, as without it; or "file:PATH", a file that is not encrypted,
for computers without a keyring
.TP
.B NO_COLOR
when set to anything, no colours
)";

constexpr std::string_view exitEntries = R"(.TP
.B 0
done
.TP
.B 1
failed; one line on standard error says what, and what to do
.TP
.B 2
the command line was wrong
.TP
.B 130
interrupted; whatever was done is whole
)";

}  // namespace

std::string manualPage() {
    std::string text = fmt::format(
        ".TH NOOKERY 1 \"\" \"nookery {}\" \"User Commands\"\n"
        ".SH NAME\nnookery \\- keep memories and find them again\n"
        ".SH SYNOPSIS\n.B nookery\n.I COMMAND\n[\\fIARGUMENTS\\fR]\n"
        ".SH DESCRIPTION\n"
        "Keeps notes, links and files in a library of your own, and finds them again from "
        "whatever\n"
        "you remember. Everything stays on this computer.\n.SH COMMANDS\n",
        NOOKERY_VERSION);
    for (const Command& command : commandTable()) {
        if (!command.isHidden) text += section(command);
    }
    text += ".SH OPTIONS OF EVERY COMMAND\n" + optionEntries(globalOptions());
    text += fmt::format(".SH ENVIRONMENT\n{}.SH EXIT STATUS\n{}", environmentEntries, exitEntries);
    return text;
}

}  // namespace nookery::cli
