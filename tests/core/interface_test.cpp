// What an application compiles into itself: the counting of handles, and the order and sizes behind the virtual
// operations, which a program built against an earlier library calls by their place.

#include <gtest/gtest.h>

#include <cstring>

#include "QD_OrvelInterface.h"

namespace {

int alive = 0;

class Counted : public QD_OrvelHandableClass {
public:
    Counted() { ++alive; }
    Counted(const Counted& other) : QD_OrvelHandableClass(other) { ++alive; }
    Counted& operator=(const Counted&) = delete;
    ~Counted() override { --alive; }

    QD_OrvelTypedHandle<Counted> next;
};
using Handle = QD_OrvelTypedHandle<Counted>;

TEST(Handle, theLastOneToGoDeletesTheObjectHoweverTheyWereMade) {
    auto* object = new Counted;
    Handle first(object);
    Handle second(object); // of the pointer, not of the first handle
    {
        Handle third(first);
        third.release();
        third.release(); // drops nothing more, nor does its end
        const Handle empty;
        EXPECT_TRUE(third.isNull() && !Handle(empty).isValid());
        const QD_OrvelHandle base(second); // of no type, with the same operations
        EXPECT_TRUE(base.get() == object && base.operator->() == object && QD_OrvelHandle().get() == nullptr);
    }
    first.release();
    EXPECT_TRUE(second.isValid() && alive == 1);
    const Handle twin(new Counted(*object)); // a copy of the object that no handle knows yet
    second.release();
    EXPECT_EQ(alive, 1);
}

TEST(Handle, assignmentKeepsEveryCountRight) {
    {
        Handle target(new Counted);
        const Handle source(new Counted);
        target = source;
        EXPECT_EQ(alive, 1);
        target = *&target;
        EXPECT_EQ(target.get(), source.get());
        target = Handle();
        Handle only(new Counted);
        only = *&only;
        only->next = Handle(new Counted);
        only = only->next; // the source lives in the object that goes
        EXPECT_EQ(alive, 2);
    }
    EXPECT_EQ(alive, 0);
}

/// The place of a virtual operation. The Itanium C++ ABI: a pointer to one is 1 plus its offset in the table.
template <class Operation>
std::size_t slot(Operation operation) {
    static_assert(sizeof(operation) == 2 * sizeof(std::ptrdiff_t));
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &operation, sizeof(offset));
    return static_cast<std::size_t>(offset - 1) / sizeof(void*);
}

template <class... Operations>
void expectInOrder(Operations... operations) {
    std::size_t expected = 2; // behind the destructor, which has two places
    for (const std::size_t place : {slot(operations)...}) EXPECT_EQ(place, expected++);
}

/// Reaches the protected operations.
struct AnyConnection : QD_OrvelConnection {
    static constexpr auto begin = &AnyConnection::beginTransaction;
    static constexpr auto commit = &AnyConnection::commitTransaction;
    static constexpr auto abort = &AnyConnection::abortTransaction;
};
template <class... Arguments>
using Getter = bool (QD_OrvelQuery::*)(Arguments...) const;

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
    expectInOrder(
        &Q::eof, &Q::numFields, &Q::nextRow, &Q::getFieldIndex, &Q::getFieldName, &Q::getFieldDeclType,
        Getter<const char*, int&>{&Q::getIntField}, Getter<int, int&>{&Q::getIntField},
        Getter<const char*, long long&>{&Q::getInt64Field}, Getter<int, long long&>{&Q::getInt64Field},
        Getter<const char*, double&>{&Q::getDoubleField}, Getter<int, double&>{&Q::getDoubleField},
        Getter<const char*, std::string&>{&Q::getStringField}, Getter<int, std::string&>{&Q::getStringField},
        Getter<const char*, unsigned int&, unsigned char*>{&Q::getBlobField},
        Getter<int, unsigned int&, unsigned char*>{&Q::getBlobField}, &Q::close);
}

static_assert(sizeof(Handle) == 2 * sizeof(void*));
static_assert(sizeof(QD_OrvelException) == 2 * sizeof(void*));
static_assert(sizeof(QD_OrvelConnection) == 2 * sizeof(void*));

} // namespace
