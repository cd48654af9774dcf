#include "QD_OrvelTools.h"

#include "QD_OrvelException.h"

void QD_OrvelTools::throwOnNullString(const char* text) {
    if (text == nullptr) {
        throw QD_OrvelException(QD_ORVEL_ERR_INVALID_POINTER, "QD_OrvelTools::throwOnNullString", 0, "", 0);
    }
}

void QD_OrvelTools::throwOnNullOrEmptyString(const char* text) {
    if (text == nullptr || *text == '\0') {
        throw QD_OrvelException(QD_ORVEL_ERR_INVALID_PARAMETER, "QD_OrvelTools::throwOnNullOrEmptyString", 0,
                                "", 0);
    }
}
