// Included first in every source file of the core, so that the build breaks as soon as a Qt header
// is within the core's reach, and at the place of the mistake when one is included all the same.
#pragma once
#if __has_include(<QtCore/qglobal.h>) || __has_include(<QString>)
#error "A Qt include folder is within reach of the core: it must not link or include Qt."
#endif
#pragma GCC poison QT_VERSION QT_VERSION_STR Q_OBJECT QT_BEGIN_NAMESPACE QString QObject
