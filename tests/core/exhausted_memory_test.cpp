// What is left when the heap has nothing left. This program has allocation functions of its own.

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/sqlite_test.h"

namespace {

constexpr long unlimited = -1;
long allocationsLeft = unlimited; // the tests here have one thread

void* allocate(std::size_t size) noexcept {
    if (allocationsLeft == 0) {
        return nullptr;
    }
    if (allocationsLeft > 0) {
        --allocationsLeft;
    }
    return std::malloc(size != 0 ? size : 1);
}

/// Lets `count` more allocations succeed while it lives, then none.
class AllocationLimit {
public:
    explicit AllocationLimit(long count) { allocationsLeft = count; }
    AllocationLimit(const AllocationLimit&) = delete;
    AllocationLimit& operator=(const AllocationLimit&) = delete;
    ~AllocationLimit() { allocationsLeft = unlimited; }
};

} // namespace

void* operator new(std::size_t size) {
    if (void* memory = allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace {

const orvel::tests::Error outOfMemory{32, 0, "", "QD_OrvelException::QD_OrvelException", 0};
const char* const longText =
    "a text that is too long for the small string, so that it needs memory of its own";
const char* const longName = "QD_SQOrvelConnection::aFunctionWithAQualifiedNameLongEnoughForTheHeap";

/// Runs `body` with 0, 1, 2 ... allocations until it answers that it has done its work; how many that took.
/// `failed` looks at what each failure has left, with memory again.
long sweep(const std::function<bool()>& body, const std::function<void(const std::exception_ptr&)>& failed) {
    for (long allowed = 0; allowed < 200; ++allowed) {
        std::exception_ptr error;
        try {
            const AllocationLimit limit(allowed);
            if (body()) {
                return allowed;
            }
        } catch (...) {
            error = std::current_exception();
        }
        failed(error);
    }
    return -1;
}

TEST(ExhaustedMemory, makingAndCopyingExceptionsEndsInCode32) {
    QD_OrvelException original(QD_ORVEL_ERR_PROVIDER, longName, 1, longText, 0);
    QD_OrvelException target(QD_ORVEL_ERR_NOT_OPEN, longName, 2, "", 0);
    const std::string message = original.errorMessage();
    const auto expect32 = [&](const std::exception_ptr& error) {
        orvel::tests::expectError([&] { std::rethrow_exception(error); }, outOfMemory);
        EXPECT_EQ(target.errorCode(), QD_ORVEL_ERR_NOT_OPEN) << "nothing half-assigned";
    };
    const auto made = [] {
        return QD_OrvelException(QD_ORVEL_ERR_PROVIDER, longName, 1, longText, 0).errorCode() == 34;
    };
    EXPECT_GE(sweep(made, expect32), 3); // the record and its two texts
    const auto copied = [&] {
        const QD_OrvelException copy(original);
        return copy.errorCode() == 34;
    };
    EXPECT_GE(sweep(copied, expect32), 4);
    EXPECT_GE(sweep([&] { return (target = original).errorCode() == 34; }, expect32), 4);
    EXPECT_EQ(target.errorMessage(), message);
}

TEST(ExhaustedMemory, anExceptionTellsWhatItCanWithoutMemory) {
    QD_OrvelException whole(QD_ORVEL_ERR_PROVIDER, longName, 1, "", 0);
    std::optional<AllocationLimit> nothing(0);
    try {
        throw QD_OrvelException(QD_ORVEL_ERR_PROVIDER, longName, 1, longText, 0);
    } catch (QD_OrvelException& exception) {
        exception.addFunction(longName); // fits the room the record came with
        whole.addFunction(longName);     // does not fit, and the trace stays as it is
        EXPECT_STREQ(exception.errorMessage(), "Out of memory");
        nothing.reset();
        EXPECT_EQ(exception.errorMessage(), "Orvel: Out of memory. (32), Provider:  (0), hr: 0, Trace: " +
                                                outOfMemory.trace + " <- " + longName);
    }
    EXPECT_EQ(orvel::tests::describe(whole).trace, longName);
}

TEST(ExhaustedMemory, theReserveServesAgainOnceItsExceptionsAreGone) {
    const auto exhaust = [] {
        const AllocationLimit nothing(0);
        throw QD_OrvelException(QD_ORVEL_ERR_PROVIDER, longName, 1, longText, 0);
    };
    for (int round = 0; round < 3; ++round) {
        std::vector<std::exception_ptr> alive(QD_OrvelException::outOfMemoryReserve);
        for (std::exception_ptr& kept : alive) {
            try {
                exhaust();
            } catch (const QD_OrvelException& exception) {
                EXPECT_EQ(orvel::tests::describe(exception), outOfMemory);
                kept = std::current_exception();
            }
        }
        EXPECT_THROW(exhaust(), std::bad_alloc);
    }
}

class ExhaustedMemorySqlite : public orvel::tests::SqliteTest {
protected:
    ExhaustedMemorySqlite() {
        QD_OrvelSetDebugOutput([](const char*) noexcept {}); // what is swallowed is logged
    }
    ~ExhaustedMemorySqlite() override { QD_OrvelSetDebugOutput(nullptr); }
};

TEST_F(ExhaustedMemorySqlite, failsWithoutATraceAndGoesOnWithMemory) {
    const std::string place = path();
    const QD_OrvelConnectionHandle opening = closed(), connection = opened();
    connection->execNoQuery("CREATE TABLE t (a)", 0);
    const auto stillClosed = [&](const std::exception_ptr&) { EXPECT_FALSE(opening->isOpen()); };
    EXPECT_GT(sweep([&] { return opening->open("Parts", place.c_str(), 0), true; }, stillClosed), 0);
    const auto unchanged = [&](const std::exception_ptr&) { EXPECT_EQ(rows(opening), 0); };
    QD_OrvelCommandHandle insert;
    const auto prepare = [&] {
        insert = connection->createCommand("INSERT INTO t VALUES (?)", 0);
        return insert.isValid() && (insert->addStringParam(longText), true);
    };
    EXPECT_GT(sweep(prepare, unchanged), 0);
    EXPECT_GT(sweep([&] { return connection->execQuery("SELECT * FROM t", 0).isValid(); }, unchanged), 0);
    EXPECT_GT(
        sweep([&] { return connection->execNoQuery("INSERT INTO t SELECT 'a long text' || 1", 0) == 1; },
              unchanged),
        0);
    EXPECT_EQ(insert->execNoQuery(0), 1);
    EXPECT_EQ(rows(opening), 2);
}

TEST_F(ExhaustedMemorySqlite, aCursorThatCannotSayWhyItFailedIsAtItsEndAllTheSame) {
    const QD_OrvelConnectionHandle connection = opened();
    for (long allowed = 0; allowed < 20; ++allowed) {
        const QD_OrvelQueryHandle failing =
            connection->execQuery("SELECT 1 UNION ALL SELECT abs(-9223372036854775807 - 1)", 0);
        std::optional<AllocationLimit> limit(allowed);
        failing->nextRow();
        limit.reset();
        int value = 1;
        EXPECT_TRUE(failing->eof());
        EXPECT_FALSE(failing->getIntField(0, value)) << allowed;
    }
}

TEST_F(ExhaustedMemorySqlite, aQueryThatCannotBeMadeResetsItsCommandUnlessAnotherReadsIt) {
    const QD_OrvelConnectionHandle connection = opened();
    const QD_OrvelCommandHandle command = connection->createCommand("VALUES (1), (2), (3)", 0);
    QD_OrvelQueryHandle first;
    int value = 0;
    for (const int expected : {1, 2}) {
        {
            const AllocationLimit none(0);
            EXPECT_FALSE(command->execQuery(0).isValid());
        }
        first = expected == 1 ? command->execQuery(0) : first;
        EXPECT_TRUE(first->getIntField(0, value));
        EXPECT_EQ(value, expected);
    }
}

} // namespace
