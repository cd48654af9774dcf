#ifndef ORVEL_TESTS_FIELDS_H
#define ORVEL_TESTS_FIELDS_H

#include <sstream>
#include <string>

#include "QD_OrvelQuery.h"

namespace orvel::tests {

/// A field's text, also of what is no text; "(none)" when there is none.
template <class Key = int>
std::string textOf(const QD_OrvelQueryHandle& rows, Key key = 0) {
    std::string text;
    return rows->getStringField(key, text) ? text : "(none)";
}

/// A field as an int in words; "(none)" when it is none.
template <class Key = int>
std::string numberOf(const QD_OrvelQueryHandle& rows, Key key = 0) {
    int number = 0;
    return rows->getIntField(key, number) ? std::to_string(number) : "(none)";
}

/// Where a cursor stands: "end" when it is there, its number of fields, and the first one as an int.
inline std::string standing(const QD_OrvelQueryHandle& rows) {
    return (rows->eof() ? "end " : "") + std::to_string(rows->numFields()) + " " + numberOf(rows);
}

/// What every getter answers and leaves: int, 64 bits, double, text, length of the blob.
template <class Key>
std::string allOf(const QD_OrvelQueryHandle& rows, Key key) {
    int integer = 9;
    long long wide = 9;
    double real = 9;
    std::string text = "before";
    unsigned int size = 9;
    std::ostringstream out;
    out << rows->getIntField(key, integer) << ':' << integer << ' ';
    out << rows->getInt64Field(key, wide) << ':' << wide << ' ';
    out << rows->getDoubleField(key, real) << ':' << real << ' ';
    out << rows->getStringField(key, text) << ':' << text << ' ';
    out << rows->getBlobField(key, size, nullptr) << ':' << size;
    return out.str();
}

} // namespace orvel::tests

#endif
