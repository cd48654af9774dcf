#include "QD_ADOOrvelException.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array busyStatuses = {0x80040E38UL, 0x80040E40UL, 0x80040E92UL};
constexpr std::array busyProviderCodes = {3730UL, 3732UL};

template <class Codes>
bool contains(const Codes& codes, unsigned long code) {
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

} // namespace

QD_ADOOrvelException::QD_ADOOrvelException(QD_OrvelError code, const char* function,
                                           unsigned long provErrorCode, const char* provErrorText,
                                           unsigned long hrErrorCode)
    : QD_OrvelException(code, function, provErrorCode, provErrorText, hrErrorCode) {
    // asked back: the base has cut both codes to 32 bits
    if (contains(busyStatuses, QD_ADOOrvelException::hrErrorCode()) ||
        contains(busyProviderCodes, QD_ADOOrvelException::provErrorCode())) {
        setErrorCode(QD_ORVEL_ERR_BUSY);
    }
}

QD_ADOOrvelException::QD_ADOOrvelException(const QD_ADOOrvelException& other) = default;

const QD_ADOOrvelException& QD_ADOOrvelException::operator=(const QD_ADOOrvelException& other) {
    QD_OrvelException::operator=(other);
    return *this;
}

QD_ADOOrvelException::~QD_ADOOrvelException() = default;
