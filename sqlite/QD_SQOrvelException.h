#ifndef QD_SQORVEL_EXCEPTION_H
#define QD_SQORVEL_EXCEPTION_H

#include "QD_OrvelException.h"

/// A failure that SQLite reported. The provider code is SQLite's result code, the provider text its message.
///
/// A busy database (provider code 5) turns the code into QD_ORVEL_ERR_BUSY whatever was asked for; provider
/// code and text stay.
class QD_ORVEL_EXPORT QD_SQOrvelException : public QD_OrvelException {
public:
    QD_SQOrvelException(QD_OrvelError code, const char* function, unsigned long provErrorCode,
                        const char* provErrorText, unsigned long hrErrorCode);
    QD_SQOrvelException(const QD_SQOrvelException& other);
    const QD_SQOrvelException& operator=(const QD_SQOrvelException& other);
    ~QD_SQOrvelException() override;
};

#endif
