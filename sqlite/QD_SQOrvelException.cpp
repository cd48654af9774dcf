#include "QD_SQOrvelException.h"

#include <sqlite3.h>

QD_SQOrvelException::QD_SQOrvelException(QD_OrvelError code, const char* function,
                                         unsigned long provErrorCode, const char* provErrorText,
                                         unsigned long hrErrorCode)
    : QD_OrvelException(code, function, provErrorCode, provErrorText, hrErrorCode) {
    if (QD_SQOrvelException::provErrorCode() == SQLITE_BUSY) {
        setErrorCode(QD_ORVEL_ERR_BUSY);
    }
}

QD_SQOrvelException::QD_SQOrvelException(const QD_SQOrvelException& other) = default;

const QD_SQOrvelException& QD_SQOrvelException::operator=(const QD_SQOrvelException& other) {
    QD_OrvelException::operator=(other);
    return *this;
}

QD_SQOrvelException::~QD_SQOrvelException() = default;
