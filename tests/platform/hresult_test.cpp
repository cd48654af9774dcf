#include "platform/hresult.h"

#include <gtest/gtest.h>

#include <exception>
#include <type_traits>

#include "QD_OrvelException.h"

namespace {

using orvel::platform::ComError;

static_assert(!std::is_base_of_v<QD_OrvelException, ComError> &&
              !std::is_base_of_v<std::exception, ComError>);

TEST(ComError, hasTheWordsOfItsStatusOrItsNumber) {
    struct Case {
        std::uint32_t hresult;
        const char* message;
    };
    for (const Case& c :
         {Case{0x80004003, "Invalid pointer"}, Case{0x80004002, "No such interface supported"},
          Case{0x80040200, "Unknown error 0x80040200"}, Case{0x80040201, "IDispatch error #1"},
          Case{0x80040E38, "IDispatch error #3128"}, Case{0x8004FFFF, "IDispatch error #65023"},
          Case{0x80050000, "Unknown error 0x80050000"}, Case{0x800A0E78, "Unknown error 0x800A0E78"},
          Case{0, "Unknown error 0x0"}, Case{0xFFFFFFFF, "Unknown error 0xFFFFFFFF"}}) {
        const ComError error(c.hresult, "what happened");
        EXPECT_EQ(error.message(), c.message);
        EXPECT_EQ(error.hresult(), c.hresult);
        EXPECT_EQ(error.description(), "what happened");
    }
}

} // namespace
