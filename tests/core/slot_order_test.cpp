// The order of the virtual operations is part of the interface: a program built against an earlier library
// calls them by their place. This pins every place.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
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

struct Place {
    const char* operation;
    std::size_t actual;
};

void expectInOrder(const std::vector<Place>& places) {
    std::size_t expected = 2; // behind the destructor
    for (const Place& place : places) {
        EXPECT_EQ(place.actual, expected++) << place.operation;
    }
}

TEST(SlotOrder, exception) {
    using E = QD_OrvelException;
    expectInOrder({{"errorCode", slot(&E::errorCode)},
                   {"errorString", slot(&E::errorString)},
                   {"provErrorCode", slot(&E::provErrorCode)},
                   {"provErrorString", slot(&E::provErrorString)},
                   {"hrErrorCode", slot(&E::hrErrorCode)},
                   {"addFunction", slot(&E::addFunction)},
                   {"stackTrace", slot(&E::stackTrace)},
                   {"errorMessage", slot(&E::errorMessage)}});
}

/// Reaches the protected operations.
struct AnyConnection : QD_OrvelConnection {
    static std::vector<Place> transactionPlaces() {
        return {{"beginTransaction", slot(&AnyConnection::beginTransaction)},
                {"commitTransaction", slot(&AnyConnection::commitTransaction)},
                {"abortTransaction", slot(&AnyConnection::abortTransaction)}};
    }
};

TEST(SlotOrder, connection) {
    using C = QD_OrvelConnection;
    std::vector<Place> places = {{"open", slot(&C::open)},
                                 {"isOpen", slot(&C::isOpen)},
                                 {"close", slot(&C::close)},
                                 {"getTables", slot(&C::getTables)},
                                 {"getTableColumnNames", slot(&C::getTableColumnNames)},
                                 {"getTableRowCount", slot(&C::getTableRowCount)},
                                 {"tableExists", slot(&C::tableExists)},
                                 {"createTable", slot(&C::createTable)},
                                 {"alterTable", slot(&C::alterTable)},
                                 {"dropTable", slot(&C::dropTable)},
                                 {"execNoQuery", slot(&C::execNoQuery)},
                                 {"execQuery", slot(&C::execQuery)},
                                 {"execQueryScalar", slot(&C::execQueryScalar)},
                                 {"createCommand", slot(&C::createCommand)},
                                 {"setBusyTimeout", slot(&C::setBusyTimeout)},
                                 {"getLastInsertedId", slot(&C::getLastInsertedId)},
                                 {"getProvider", slot(&C::getProvider)},
                                 {"getVersion", slot(&C::getVersion)},
                                 {"isClientServer", slot(&C::isClientServer)},
                                 {"compressDatabase", slot(&C::compressDatabase)},
                                 {"databaseExists", slot(&C::databaseExists)},
                                 {"createDatabase", slot(&C::createDatabase)},
                                 {"dropDatabase", slot(&C::dropDatabase)},
                                 {"getDBCommand", slot(&C::getDBCommand)}};
    for (const Place& place : AnyConnection::transactionPlaces()) {
        places.push_back(place);
    }
    expectInOrder(places);
}

TEST(SlotOrder, command) {
    using C = QD_OrvelCommand;
    expectInOrder({{"execNoQuery", slot(&C::execNoQuery)},
                   {"execQuery", slot(&C::execQuery)},
                   {"addStringParam", slot(&C::addStringParam)},
                   {"addIntParam", slot(&C::addIntParam)},
                   {"addInt64Param", slot(&C::addInt64Param)},
                   {"addDoubleParam", slot(&C::addDoubleParam)},
                   {"addBlobParam", slot(&C::addBlobParam)},
                   {"addEmptyParam", slot(&C::addEmptyParam)},
                   {"resetParams", slot(&C::resetParams)},
                   {"close", slot(&C::close)}});
}

template <class Value>
using ByName = bool (QD_OrvelQuery::*)(const char*, Value&) const;
template <class Value>
using ByIndex = bool (QD_OrvelQuery::*)(int, Value&) const;
using BlobByName = bool (QD_OrvelQuery::*)(const char*, unsigned int&, unsigned char*) const;
using BlobByIndex = bool (QD_OrvelQuery::*)(int, unsigned int&, unsigned char*) const;

TEST(SlotOrder, query) {
    using Q = QD_OrvelQuery;
    expectInOrder({{"eof", slot(&Q::eof)},
                   {"numFields", slot(&Q::numFields)},
                   {"nextRow", slot(&Q::nextRow)},
                   {"getFieldIndex", slot(&Q::getFieldIndex)},
                   {"getFieldName", slot(&Q::getFieldName)},
                   {"getFieldDeclType", slot(&Q::getFieldDeclType)},
                   {"getIntField by name", slot<ByName<int>>(&Q::getIntField)},
                   {"getIntField by index", slot<ByIndex<int>>(&Q::getIntField)},
                   {"getInt64Field by name", slot<ByName<long long>>(&Q::getInt64Field)},
                   {"getInt64Field by index", slot<ByIndex<long long>>(&Q::getInt64Field)},
                   {"getDoubleField by name", slot<ByName<double>>(&Q::getDoubleField)},
                   {"getDoubleField by index", slot<ByIndex<double>>(&Q::getDoubleField)},
                   {"getStringField by name", slot<ByName<std::string>>(&Q::getStringField)},
                   {"getStringField by index", slot<ByIndex<std::string>>(&Q::getStringField)},
                   {"getBlobField by name", slot<BlobByName>(&Q::getBlobField)},
                   {"getBlobField by index", slot<BlobByIndex>(&Q::getBlobField)},
                   {"close", slot(&Q::close)}});
}

static_assert(sizeof(QD_OrvelException) == 2 * sizeof(void*));
static_assert(sizeof(QD_OrvelConnection) == 2 * sizeof(void*));

} // namespace
