#ifndef ORVEL_FIRST_FIELD_H
#define ORVEL_FIRST_FIELD_H

#include <string>
#include <utility>
#include <vector>

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

/// Appends the text in the first field of every row that is left, NULL left out; nothing without a query.
inline void appendFirstTexts(const QD_OrvelQueryHandle& rows, std::vector<std::string>& texts) {
    if (rows.isNull()) {
        return;
    }
    for (; !rows->eof(); rows->nextRow()) {
        if (std::string text; rows->getStringField(0, text)) {
            texts.push_back(std::move(text));
        }
    }
}

} // namespace orvel

#endif
