#ifndef QD_ORVEL_ERROR_H
#define QD_ORVEL_ERROR_H

#include "QD_OrvelExport.h"

/// The library's error codes. Applications store and compare them as 32-bit numbers; a value outside the list
/// is not an error of the caller and reads as "Unspecified Error".
enum QD_OrvelError : int {
    QD_ORVEL_NO_ERROR = 0,
    QD_ORVEL_ERR_CONFIG_FILE = 1,
    QD_ORVEL_ERR_CREATE_CONNECTION = 2,
    QD_ORVEL_ERR_CREATE_DATABASE = 3,
    QD_ORVEL_ERR_OPEN_DATABASE = 4,
    QD_ORVEL_ERR_DELETE_DATABASE = 5,
    QD_ORVEL_ERR_COMPRESS_DATABASE = 6,
    QD_ORVEL_ERR_DATABASE_EXISTS = 7,
    QD_ORVEL_ERR_CREATE_TABLE = 8,
    QD_ORVEL_ERR_ALTER_TABLE = 9,
    QD_ORVEL_ERR_DELETE_TABLE = 10,
    QD_ORVEL_ERR_TABLE_EXISTS = 11,
    QD_ORVEL_ERR_NOT_OPEN = 12,
    QD_ORVEL_ERR_SQL_STATEMENT = 13,
    QD_ORVEL_ERR_SQL_QUERY = 14,
    QD_ORVEL_ERR_BEGIN_TRANSACTION = 15,
    QD_ORVEL_ERR_COMMIT_TRANSACTION = 16,
    QD_ORVEL_ERR_ABORT_TRANSACTION = 17,
    QD_ORVEL_ERR_NESTED_TRANSACTION = 18,
    QD_ORVEL_ERR_FIELD_INDEX = 19,
    QD_ORVEL_ERR_RETRIEVE_FIELD = 20,
    QD_ORVEL_ERR_RETRIEVE_ROW = 21,
    QD_ORVEL_ERR_INVALID_POINTER = 22,
    QD_ORVEL_ERR_INVALID_PARAMETER = 23,
    QD_ORVEL_ERR_UNKNOWN_TABLE = 24,
    QD_ORVEL_ERR_UNKNOWN_DATABASE = 25,
    QD_ORVEL_ERR_CONFIG_VALUE = 26,
    QD_ORVEL_ERR_BIND_PARAMETER = 27,
    QD_ORVEL_ERR_CREATE_COMMAND = 28,
    QD_ORVEL_ERR_CREATE_QUERY = 29,
    QD_ORVEL_ERR_LAST_INSERTED_ID = 30,
    /// The database is busy or locked: whichever engine said so, and in whichever operation, it arrives as this code.
    QD_ORVEL_ERR_BUSY = 31,
    QD_ORVEL_ERR_OUT_OF_MEMORY = 32,
    QD_ORVEL_ERR_COMPILE_SQL = 33,
    /// The engine refused the statement; its own code and text stand beside this one.
    QD_ORVEL_ERR_PROVIDER = 34,
    QD_ORVEL_ERR_UNSPECIFIED = 35,
};

/// The fixed English message of a code; never null, valid for the life of the process.
///
/// @param code  any value: 31 and everything outside 0 to 35 give "Unspecified Error" (capital E), while 35 has a
///              text of its own, "Unspecified error"
QD_ORVEL_EXPORT const char* errorText(QD_OrvelError code) noexcept;

#endif
