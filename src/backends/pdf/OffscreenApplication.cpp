#include "backends/pdf/OffscreenApplication.h"

#include <QLoggingCategory>

namespace nookery {

void OffscreenApplication::demand() {
    const std::scoped_lock lock(mutex_);
    // Qt allows one application object a process, and a window may have made its own.
    if (QCoreApplication::instance() != nullptr) return;
    // A program without windows has nobody to tell about runtime folders and scripts of fonts.
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false\nqt.*.warning=false"));
    application_ = std::make_unique<QGuiApplication>(argumentCount_, arguments_);
}

}  // namespace nookery
