#include "backends/pdf/OffscreenApplication.h"

#include <QGuiApplication>
#include <QLoggingCategory>

namespace nookery {

OffscreenApplication::~OffscreenApplication() {
    if (!holder_.joinable()) return;
    isOver_.set_value();
    holder_.join();
}

void OffscreenApplication::demand() {
    const std::scoped_lock lock(mutex_);
    // Qt allows one application object a process, and a window may have made its own.
    if (QCoreApplication::instance() != nullptr) return;
    // Qt would print about runtime folders and the scripts of fonts.
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false\nqt.*.warning=false"));
    std::promise<void> isMade;
    holder_ = std::thread([this, &isMade, isOver = isOver_.get_future()] { hold(isMade, isOver); });
    isMade.get_future().wait();
}

void OffscreenApplication::hold(std::promise<void>& isMade, const std::future<void>& isOver) {
    const QGuiApplication application(argumentCount_, arguments_);
    isMade.set_value();
    isOver.wait();
}

}  // namespace nookery
