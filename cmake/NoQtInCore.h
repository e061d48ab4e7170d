// Included first in every source file of the core. Qt's include guards are taken and its entry
// macros poisoned: a core file that reaches a Qt header fails to compile.
#pragma once
#pragma GCC poison QT_VERSION QT_VERSION_STR Q_OBJECT QT_BEGIN_NAMESPACE QString QObject
