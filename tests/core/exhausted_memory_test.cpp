// What is left when the heap has nothing left. This program has allocation functions of its own.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "QD_OrvelException.h"
#include "tests/support/expect_error.h"

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
    static bool reached() { return allocationsLeft == 0; }
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

namespace {

using orvel::tests::Error;

const char* const longText =
    "a text that is too long for the small string, so that it needs memory of its own";
const char* const longName = "QD_SQOrvelConnection::aFunctionWithAQualifiedNameLongEnoughForTheHeap";

const Error outOfMemory{32, 0, "", "QD_OrvelException::QD_OrvelException", 0};

/// Runs `body` with 0, 1, 2 ... allocations until it needs no more; every failure on the way must be code 32.
/// Answers how many were needed.
template <class Body>
long expectCode32WheneverMemoryEnds(Body body) {
    for (long allowed = 0; allowed < 100; ++allowed) {
        std::optional<QD_OrvelException> caught; // in place: nothing may allocate before the limit is lifted
        bool succeeded = false;
        {
            const AllocationLimit limit(allowed);
            try {
                body();
                succeeded = true;
            } catch (QD_OrvelException& exception) {
                try {
                    caught.emplace(exception); // out of memory here as well: the copy's own exception counts
                } catch (const QD_OrvelException& second) {
                    EXPECT_EQ(second.errorCode(), QD_ORVEL_ERR_OUT_OF_MEMORY);
                }
                EXPECT_EQ(exception.errorCode(), QD_ORVEL_ERR_OUT_OF_MEMORY);
                EXPECT_STREQ(exception.errorString(), "");
            }
        }
        if (succeeded) {
            return allowed;
        }
    }
    ADD_FAILURE() << "never succeeded";
    return 0;
}

TEST(ExhaustedMemory, constructingEndsInCode32ForEveryAllocation) {
    EXPECT_GE(expectCode32WheneverMemoryEnds([] {
                  const QD_OrvelException exception(QD_ORVEL_ERR_PROVIDER, longName, 1, longText, 0);
                  if (exception.errorCode() != QD_ORVEL_ERR_PROVIDER) {
                      std::abort();
                  }
              }),
              3); // the record and its two texts
}

TEST(ExhaustedMemory, copyingEndsInCode32ForEveryAllocation) {
    QD_OrvelException original(QD_ORVEL_ERR_PROVIDER, longName, 1, longText, 0);
    const std::string message = original.errorMessage();
    EXPECT_GE(expectCode32WheneverMemoryEnds([&] { const QD_OrvelException copy(original); }), 4);

    QD_OrvelException target(QD_ORVEL_ERR_NOT_OPEN, longName, 2, "", 0);
    expectCode32WheneverMemoryEnds([&] {
        try {
            target = original;
        } catch (...) {
            if (target.errorCode() != QD_ORVEL_ERR_NOT_OPEN) {
                std::abort();
            } // nothing half-assigned
            throw;
        }
    });
    EXPECT_EQ(target.errorMessage(), message);
}

TEST(ExhaustedMemory, theExceptionTellsItsTraceAndMessageWithoutMemory) {
    std::string message;
    Error described;
    try {
        const AllocationLimit nothing(0);
        throw QD_OrvelException(QD_ORVEL_ERR_PROVIDER, longName, 1, longText, 0);
    } catch (QD_OrvelException& exception) {
        {
            const AllocationLimit nothing(0);
            exception.addFunction(longName); // fits the room the record came with
            EXPECT_STREQ(exception.errorMessage(), "Out of memory");
        }
        message = exception.errorMessage();
        described = orvel::tests::describe(exception);
    }
    Error expected = outOfMemory;
    expected.trace += std::string(" <- ") + longName;
    EXPECT_EQ(described, expected);
    EXPECT_EQ(message, "Orvel: Out of memory. (32), Provider:  (0), hr: 0, Trace: " + expected.trace);
}

TEST(ExhaustedMemory, aTraceThatCannotGrowStaysWhole) {
    QD_OrvelException exception(QD_ORVEL_ERR_PROVIDER, longName, 1, "", 0);
    {
        const AllocationLimit nothing(0);
        exception.addFunction(longName);
    }
    EXPECT_EQ(orvel::tests::describe(exception).trace, longName);
}

TEST(ExhaustedMemory, theReserveServesAgainOnceItsExceptionsAreGone) {
    const auto exhaust = [] {
        const AllocationLimit nothing(0);
        throw QD_OrvelException(QD_ORVEL_ERR_PROVIDER, longName, 1, longText, 0);
    };
    for (int round = 0; round < 3 * QD_OrvelException::outOfMemoryReserve; ++round) {
        EXPECT_EQ(orvel::tests::errorOf(exhaust), outOfMemory);
    }
    std::vector<std::exception_ptr> alive(QD_OrvelException::outOfMemoryReserve);
    for (std::exception_ptr& kept : alive) {
        try {
            exhaust();
        } catch (const QD_OrvelException&) {
            kept = std::current_exception();
        }
    }
    EXPECT_THROW(exhaust(), std::bad_alloc);
    alive.clear();
    EXPECT_EQ(orvel::tests::errorOf(exhaust), outOfMemory);
}

} // namespace
