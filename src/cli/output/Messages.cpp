#include "cli/output/Messages.h"

#include <fmt/format.h>

#include "cli/output/TextLayout.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr std::chrono::milliseconds progressInterval{100};

}  // namespace

Style Style::coloured() {
    return {.bold = "\x1b[1m",
            .dim = "\x1b[2m",
            .title = "\x1b[1;36m",
            .mark = "\x1b[1;33m",
            .reset = "\x1b[0m"};
}

Style Style::plain() { return {}; }

std::string Style::inBold(std::string_view text) const {
    return fmt::format("{}{}{}", bold, text, reset);
}

std::string Style::inDim(std::string_view text) const {
    return fmt::format("{}{}{}", dim, text, reset);
}

std::string Style::inTitle(std::string_view text) const {
    return fmt::format("{}{}{}", title, text, reset);
}

void Messages::say(std::string_view text) {
    if (isQuiet_) return;
    endProgress();
    console_.writeMessage(withoutSteering(text) + "\n");
}

void Messages::progress(std::string_view text) {
    if (isQuiet_ || !console_.traits().showsProgress) return;
    const auto now = std::chrono::steady_clock::now();
    if (isProgressShown_ && now - lastProgress_ < progressInterval) return;
    lastProgress_ = now;
    isProgressShown_ = true;
    console_.showProgress(printable(text));
}

void Messages::endProgress() {
    if (isProgressShown_) console_.showProgress("");
    isProgressShown_ = false;
}

}  // namespace nookery::cli
