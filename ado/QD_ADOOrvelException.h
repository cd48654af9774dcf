#ifndef QD_ADOORVEL_EXCEPTION_H
#define QD_ADOORVEL_EXCEPTION_H

#include "QD_OrvelException.h"

/// A failure that an engine behind ADO reported. The provider code and text are the engine's, the status code
/// is the object layer's.
///
/// A lock, an object in use or a concurrency failure (status 0x80040E38, 0x80040E40 or 0x80040E92, or
/// provider code 3730 or 3732) turns the code into QD_ORVEL_ERR_BUSY whatever was asked for; everything else stays.
class QD_ORVEL_EXPORT QD_ADOOrvelException : public QD_OrvelException {
public:
    QD_ADOOrvelException(QD_OrvelError code, const char* function, unsigned long provErrorCode,
                         const char* provErrorText, unsigned long hrErrorCode);
    QD_ADOOrvelException(const QD_ADOOrvelException& other);
    const QD_ADOOrvelException& operator=(const QD_ADOOrvelException& other);
    ~QD_ADOOrvelException() override;
};

#endif
