#ifndef QD_ORVEL_TOOLS_H
#define QD_ORVEL_TOOLS_H

#include "QD_OrvelExport.h"

/// The argument checks that begin many public operations. No state; callable from any thread.
class QD_ORVEL_EXPORT QD_OrvelTools {
public:
    QD_OrvelTools() = delete;

    /// @throws QD_OrvelException  22 when `text` is null; an empty text passes
    static void throwOnNullString(const char* text);

    /// @throws QD_OrvelException  23 when `text` is null or empty (23 in both cases, not 22)
    static void throwOnNullOrEmptyString(const char* text);
};

#endif
