// What is left when the heap has nothing left. This program has allocation functions of its own.

#include <cstdlib>
#include <functional>
#include <new>
#include <optional>
#include <utility>

#include "tests/support/allocation_limit.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/sqlite_test.h"

namespace {
void* allocate(std::size_t size) noexcept {
    return orvel::tests::mayAllocate() ? std::malloc(size != 0 ? size : 1) : nullptr;
}
} // namespace

void* operator new(std::size_t size) {
    if (void* memory = allocate(size)) return memory;
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

using namespace orvel::tests;

const Error outOfMemory{32, 0, "", "QD_OrvelException::QD_OrvelException", 0};
const char* const longText =
    "a text that is too long for the small string, so that it needs memory of its own";
const char* const longName = "QD_SQOrvelConnection::aFunctionWithAQualifiedNameLongEnoughForTheHeap";

QD_OrvelException longException() { return {QD_ORVEL_ERR_PROVIDER, longName, 1, longText, 0}; }

/// Runs `body` with 0, 1, 2 ... allocations until it answers that it has done its work; how many that took.
/// `failed` looks at what each failure has left, with memory again.
long sweep(const std::function<bool()>& body, const std::function<void(const std::exception_ptr&)>& failed) {
    for (long allowed = 0; allowed < 200; ++allowed) {
        std::exception_ptr error;
        try {
            const AllocationLimit limit(allowed);
            if (body()) return allowed;
        } catch (...) {
            error = std::current_exception();
        }
        failed(error);
    }
    return -1;
}

TEST(ExhaustedMemory, makingAndCopyingExceptionsEndsInCode32) {
    QD_OrvelException original = longException();
    QD_OrvelException target(QD_ORVEL_ERR_NOT_OPEN, longName, 2, "", 0);
    const std::string message = original.errorMessage();
    const auto expect32 = [&](const std::exception_ptr& error) {
        expectError([&] { std::rethrow_exception(error); }, outOfMemory);
        EXPECT_EQ(target.errorCode(), QD_ORVEL_ERR_NOT_OPEN) << "nothing half-assigned";
    };
    EXPECT_GE(sweep([] { return longException().errorCode() == 34; }, expect32), 3); // the record, its texts
    EXPECT_GE(sweep([&] { return std::make_optional(original)->errorCode() == 34; }, expect32), 4);
    EXPECT_GE(sweep([&] { return (target = original).errorCode() == 34; }, expect32), 4);
    EXPECT_EQ(target.errorMessage(), message);
}

TEST(ExhaustedMemory, anExceptionTellsWhatItCanWithoutMemory) {
    for (const char* frame : {longName, "f"}) { // the second finds nothing of the first in the reserve
        QD_OrvelException whole(QD_ORVEL_ERR_PROVIDER, longName, 1, "", 0);
        whole.addFunction("f"); // makes room for the arrow of another name, but not for the name
        std::optional<AllocationLimit> nothing(0);
        try {
            throw longException();
        } catch (QD_OrvelException& exception) {
            exception.addFunction(frame); // fits the room the record came with
            whole.addFunction(longName);
            EXPECT_STREQ(exception.errorMessage(), "Out of memory");
            nothing.reset();
            EXPECT_EQ(exception.errorMessage(), "Orvel: Out of memory. (32), Provider:  (0), hr: 0, Trace: " +
                                                    outOfMemory.trace + " <- " + frame);
        }
        EXPECT_EQ(describe(whole).trace, longName + std::string(" <- f"));
    }
}

TEST(ExhaustedMemory, theReserveServesAgainOnceItsExceptionsAreGone) {
    const auto exhaust = [] {
        const AllocationLimit nothing(0);
        throw longException();
    };
    for (int round = 0; round < 3; ++round) {
        std::vector<std::exception_ptr> alive(QD_OrvelException::outOfMemoryReserve);
        for (std::exception_ptr& kept : alive) {
            try {
                exhaust();
            } catch (const QD_OrvelException&) {
                kept = std::current_exception();
            }
            expectError([&] { std::rethrow_exception(kept); }, outOfMemory);
        }
        EXPECT_THROW(exhaust(), std::bad_alloc);
    }
}

using ExhaustedMemorySqlite = SqliteTest;

TEST_F(ExhaustedMemorySqlite, whatFailsHasDoneNothingAndIsDoneWithMemory) {
    run("CREATE TABLE t (a)");
    const QD_OrvelConnectionHandle opening = closed();
    const auto expectNothing = [&](const std::exception_ptr&) {
        EXPECT_FALSE(opening->isOpen());
        EXPECT_EQ(rows(), 0);
    };
    QD_OrvelCommandHandle insert;
    const auto make = [&] {
        insert = command("INSERT INTO t VALUES (?)");
        return insert.isValid() && with(insert, longText).isValid();
    };
    EXPECT_GT(sweep(make, expectNothing), 0);
    const auto byCommand = [&] { return make() ? insert->execQuery(0).isValid() : throw std::bad_alloc(); };
    const auto byConnection = [&] { return query("INSERT INTO t VALUES (1)").isValid(); };
    const Silence failuresAreLogged;
    for (const auto& way : {std::function<bool()>(byCommand), {byConnection}}) {
        const auto expectTold = [&](const std::exception_ptr& error) {
            EXPECT_TRUE(error != nullptr || std::exchange(Silence::lines, 0) > 0)
                << "neither thrown nor logged";
            expectNothing(error);
        };
        EXPECT_GT(sweep(way, expectTold), 0);
        EXPECT_EQ(run("DELETE FROM t"), 1);
    }
    EXPECT_GT(sweep([&] { return opening->open("Parts", path.c_str(), 0), true; }, expectNothing), 0);
}

TEST_F(ExhaustedMemorySqlite, aCursorThatCannotSayWhyItFailedIsAtItsEndAllTheSame) {
    const Silence failuresAreLogged;
    for (long allowed = 0; allowed < 20; ++allowed) {
        const QD_OrvelQueryHandle failing = query("SELECT 1 UNION ALL SELECT abs(-9223372036854775807 - 1)");
        std::optional<AllocationLimit> limit(allowed);
        failing->nextRow();
        limit.reset();
        EXPECT_TRUE(failing->eof()) << allowed;
        EXPECT_EQ(numberOf(failing), "(none)") << allowed;
    }
}

TEST_F(ExhaustedMemorySqlite, aQueryReadsOnWithParametersThatWereGivenUpWithoutMemory) {
    const QD_OrvelCommandHandle lookup = with(command("SELECT ? FROM (VALUES (1), (2))"), longText);
    const QD_OrvelQueryHandle rows = lookup->execQuery(0);
    std::optional<AllocationLimit> limit(0);
    lookup->resetParams();
    limit.reset();
    rows->nextRow();
    EXPECT_EQ(textOf(rows), longText) << "the second row";
}

} // namespace
