#ifndef ORVEL_FIRST_INTEGER_H
#define ORVEL_FIRST_INTEGER_H

#include "QD_OrvelQuery.h"

namespace orvel {

/// The integer in the first field of the first row; 0 when there is no query, no row or no value.
inline int firstInteger(const QD_OrvelQueryHandle& rows) {
    int value = 0;
    if (rows.isValid() && !rows->eof() && rows->numFields() != 0) {
        rows->getIntField(0, value);
    }
    return value;
}

} // namespace orvel

#endif
