#include "backends/pdf/OffscreenApplication.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

namespace nookery {
namespace {

[[noreturn]] void hold(std::promise<void>& isMade) {
    static int argumentCount = 3;
    static char programName[] = "nookery";
    static char platformOption[] = "-platform";
    static char platformName[] = "offscreen";
    static char* arguments[] = {programName, platformOption, platformName, nullptr};
    const QGuiApplication application(argumentCount, arguments);
    isMade.set_value();
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable never;
    while (true) never.wait(lock);
}

}  // namespace

void demandOffscreenApplication() {
    static std::mutex mutex;
    const std::scoped_lock lock(mutex);
    // Qt allows one application object a process, and a window may have made its own.
    if (QCoreApplication::instance() != nullptr) return;
    // Qt would print about runtime folders and the scripts of fonts.
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false\nqt.*.warning=false"));
    std::promise<void> isMade;
    std::thread([&isMade] { hold(isMade); }).detach();
    isMade.get_future().wait();
}

}  // namespace nookery
