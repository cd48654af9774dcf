#ifndef ORVEL_PLATFORM_ADO_STATUS_H
#define ORVEL_PLATFORM_ADO_STATUS_H

#include <cstdint>

// Status codes of the object model and of the engines behind it, beside the general ones of
// platform/hresult.h.

namespace orvel::platform::ado {

// Conversions of values.
inline constexpr std::uint32_t dispTypeMismatch = 0x80020005;
inline constexpr std::uint32_t dispOverflow = 0x8002000A;

// What the objects themselves object to.
inline constexpr std::uint32_t adErrInvalidArgument = 0x800A0BB9;
inline constexpr std::uint32_t adErrNoCurrentRecord = 0x800A0BCD;
inline constexpr std::uint32_t adErrItemNotFound = 0x800A0CC1;
inline constexpr std::uint32_t adErrProviderNotFound = 0x800A0E7A;
inline constexpr std::uint32_t adErrObjectClosed = 0x800A0E78;
inline constexpr std::uint32_t adErrObjectOpen = 0x800A0E79;
inline constexpr std::uint32_t adErrInvalidParamInfo = 0x800A0E7C;
inline constexpr std::uint32_t adErrInvalidConnection = 0x800A0E7D;

// What an engine answered.
inline constexpr std::uint32_t dbCantConvertValue = 0x80040E07;
inline constexpr std::uint32_t dbPermissionDenied = 0x80040E09;
inline constexpr std::uint32_t dbParamNotOptional = 0x80040E10;
inline constexpr std::uint32_t dbErrorsInCommand = 0x80040E14;
inline constexpr std::uint32_t dbNotFound = 0x80040E19;
inline constexpr std::uint32_t dbIntegrityViolation = 0x80040E2F;
inline constexpr std::uint32_t dbAbortLimitReached = 0x80040E31;
inline constexpr std::uint32_t dbDuplicateIndex = 0x80040E34;
inline constexpr std::uint32_t dbNoIndex = 0x80040E35;
inline constexpr std::uint32_t dbNoTable = 0x80040E37;
inline constexpr std::uint32_t dbConcurrencyViolation = 0x80040E38;
inline constexpr std::uint32_t dbDuplicateColumn = 0x80040E3E;
inline constexpr std::uint32_t dbDuplicateTable = 0x80040E3F;
inline constexpr std::uint32_t dbTableInUse = 0x80040E40;
inline constexpr std::uint32_t dbAuthenticationFailed = 0x80040E4D;
inline constexpr std::uint32_t dbCanceled = 0x80040E4E;
inline constexpr std::uint32_t dbNotSupported = 0x80040E53;
inline constexpr std::uint32_t dbBadOrdinal = 0x80040E55;
inline constexpr std::uint32_t dbDataOverflow = 0x80040E57;
inline constexpr std::uint32_t dbNoColumn = 0x80040E65;
inline constexpr std::uint32_t dbResourceLocked = 0x80040E92;
inline constexpr std::uint32_t dbReadOnly = 0x80040E94;
inline constexpr std::uint32_t dbOutOfSpace = 0x80040E9A;

// Transactions.
inline constexpr std::uint32_t xactNoTransaction = 0x8004D00E;
inline constexpr std::uint32_t xactTransactionExists = 0x8004D013;
inline constexpr std::uint32_t xactInDoubt = 0x8004D016;
inline constexpr std::uint32_t xactAborted = 0x8004D019;

// No maker for a class.
inline constexpr std::uint32_t classNotRegistered = 0x80040154;

} // namespace orvel::platform::ado

#endif
