#ifndef ORVEL_PLATFORM_ADO_CONSTANTS_H
#define ORVEL_PLATFORM_ADO_CONSTANTS_H

#include <cstdint>

// The model's constants under their own names. They are plain numbers in the calls, so that any value can be
// passed.

namespace orvel::platform::ado {

enum DataType : std::int32_t {
    adEmpty = 0,
    adSmallInt = 2,
    adInteger = 3,
    adSingle = 4,
    adDouble = 5,
    adCurrency = 6,
    adDate = 7,
    adBSTR = 8,
    adIDispatch = 9,
    adError = 10,
    adBoolean = 11,
    adVariant = 12,
    adIUnknown = 13,
    adDecimal = 14,
    adTinyInt = 16,
    adUnsignedTinyInt = 17,
    adUnsignedSmallInt = 18,
    adUnsignedInt = 19,
    adBigInt = 20,
    adUnsignedBigInt = 21,
    adFileTime = 64,
    adGUID = 72,
    adBinary = 128,
    adChar = 129,
    adWChar = 130,
    adNumeric = 131,
    adUserDefined = 132,
    adDBDate = 133,
    adDBTime = 134,
    adDBTimeStamp = 135,
    adChapter = 136,
    adPropVariant = 138,
    adVarNumeric = 139,
    adVarChar = 200,
    adLongVarChar = 201,
    adVarWChar = 202,
    adLongVarWChar = 203,
    adVarBinary = 204,
    adLongVarBinary = 205,
    adArray = 8192
};

enum ObjectState : std::int32_t { adStateClosed = 0, adStateOpen = 1 };

enum ParameterDirection : std::int32_t { adParamInput = 1 };

/// Options of the executing calls.
enum ExecuteOption : std::int32_t { adCmdText = 1, adExecuteNoRecords = 128 };

enum IsolationLevel : std::int32_t { adXactReadCommitted = 4096, adXactSerializable = 1048576 };

} // namespace orvel::platform::ado

#endif
