// The order of the virtual operations is part of the interface: a program built against an earlier library
// calls them by their place. This pins every place.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "QD_OrvelInterface.h"

namespace {

/// The place of a virtual operation, counted from 0. The virtual destructor has places 0 and 1.
template <class Operation>
std::size_t slot(Operation operation) {
    // The Itanium C++ ABI: a pointer to a virtual member function is 1 plus the offset in the table of operations.
    static_assert(sizeof(operation) == 2 * sizeof(std::ptrdiff_t));
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &operation, sizeof(offset));
    return static_cast<std::size_t>(offset - 1) / sizeof(void*);
}

template <class... Operations>
void expectInOrder(Operations... operations) {
    std::vector<std::size_t> expected(sizeof...(operations));
    std::iota(expected.begin(), expected.end(), 2); // behind the destructor
    EXPECT_EQ((std::vector<std::size_t>{slot(operations)...}), expected);
}

/// Reaches the protected operations.
struct AnyConnection : QD_OrvelConnection {
    static constexpr auto begin = &AnyConnection::beginTransaction;
    static constexpr auto commit = &AnyConnection::commitTransaction;
    static constexpr auto abort = &AnyConnection::abortTransaction;
};
template <class Value>
using ByName = bool (QD_OrvelQuery::*)(const char*, Value&) const;
template <class Value>
using ByIndex = bool (QD_OrvelQuery::*)(int, Value&) const;
using BlobByName = bool (QD_OrvelQuery::*)(const char*, unsigned int&, unsigned char*) const;
using BlobByIndex = bool (QD_OrvelQuery::*)(int, unsigned int&, unsigned char*) const;

TEST(SlotOrder, isTheSameInEveryRelease) {
    using E = QD_OrvelException;
    expectInOrder(&E::errorCode, &E::errorString, &E::provErrorCode, &E::provErrorString, &E::hrErrorCode,
                  &E::addFunction, &E::stackTrace, &E::errorMessage);
    using N = QD_OrvelConnection;
    expectInOrder(&N::open, &N::isOpen, &N::close, &N::getTables, &N::getTableColumnNames,
                  &N::getTableRowCount, &N::tableExists, &N::createTable, &N::alterTable, &N::dropTable,
                  &N::execNoQuery, &N::execQuery, &N::execQueryScalar, &N::createCommand, &N::setBusyTimeout,
                  &N::getLastInsertedId, &N::getProvider, &N::getVersion, &N::isClientServer,
                  &N::compressDatabase, &N::databaseExists, &N::createDatabase, &N::dropDatabase,
                  &N::getDBCommand, AnyConnection::begin, AnyConnection::commit, AnyConnection::abort);
    using C = QD_OrvelCommand;
    expectInOrder(&C::execNoQuery, &C::execQuery, &C::addStringParam, &C::addIntParam, &C::addInt64Param,
                  &C::addDoubleParam, &C::addBlobParam, &C::addEmptyParam, &C::resetParams, &C::close);
    using Q = QD_OrvelQuery;
    expectInOrder(&Q::eof, &Q::numFields, &Q::nextRow, &Q::getFieldIndex, &Q::getFieldName,
                  &Q::getFieldDeclType, ByName<int>{&Q::getIntField}, ByIndex<int>{&Q::getIntField},
                  ByName<long long>{&Q::getInt64Field}, ByIndex<long long>{&Q::getInt64Field},
                  ByName<double>{&Q::getDoubleField}, ByIndex<double>{&Q::getDoubleField},
                  ByName<std::string>{&Q::getStringField}, ByIndex<std::string>{&Q::getStringField},
                  BlobByName{&Q::getBlobField}, BlobByIndex{&Q::getBlobField}, &Q::close);
}

static_assert(sizeof(QD_OrvelException) == 2 * sizeof(void*));
static_assert(sizeof(QD_OrvelConnection) == 2 * sizeof(void*));

} // namespace
