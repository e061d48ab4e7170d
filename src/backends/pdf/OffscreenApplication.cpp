#include "backends/pdf/OffscreenApplication.h"

#include <QLoggingCategory>

namespace nookery {

void OffscreenApplication::demand() {
    const std::scoped_lock lock(mutex_);
    // Qt allows one application object a process, and a window may have made its own.
    if (QCoreApplication::instance() != nullptr) return;
    // Qt would print about runtime folders and the scripts of fonts.
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false\nqt.*.warning=false"));
    application_ = std::make_unique<QGuiApplication>(argumentCount_, arguments_);
}

}  // namespace nookery
