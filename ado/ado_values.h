#ifndef ORVEL_ADO_VALUES_H
#define ORVEL_ADO_VALUES_H

#include <cstdint>

#include "platform/ado/Variant.h"

namespace orvel {

/// A count of changed rows: 0 when the engine did not count, the largest int when there are more.
int rowsAffected(const platform::ado::Variant& count);

/// The name of a constant of ADO's DataTypeEnum; "adUnknown" for any other value.
const char* dataTypeName(std::int32_t type) noexcept;

} // namespace orvel

#endif
