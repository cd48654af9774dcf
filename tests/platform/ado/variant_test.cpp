#include "platform/ado/Variant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/ado/status.h"
#include "platform/hresult.h"
#include "tests/support/locale.h"

namespace {

using namespace orvel::platform;
using namespace orvel::platform::ado;

Variant decimal(std::string_view digits) {
    Decimal value;
    EXPECT_TRUE(parseExact(digits, value)) << digits;
    return value;
}

const Date noon{Date::Parts::both, 2024, 2, 29, 12, 0, 0, 0};
const Date beforeDayZero{Date::Parts::both, 1899, 12, 29, 6, 0, 0, 0}; // its time counts away from day 0
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

template <class Result>
using Case = std::pair<Variant, Result>;

/// What converts, what does not fit, and what is of another type, as NULL, no argument and bytes always are.
template <class Result>
void expectEach(Result (*convert)(const Variant&), const std::vector<Case<Result>>& cases,
                const std::vector<Variant>& overflowing = {}, std::vector<Variant> mismatching = {}) {
    for (const auto& [from, expected] : cases) {
        EXPECT_EQ(convert(from), expected) << testing::PrintToString(from);
    }
    const auto statusOf = [convert](const Variant& value) {
        try {
            convert(value);
        } catch (const ComError& error) {
            return error.hresult();
        }
        return std::uint32_t{0};
    };
    for (const Variant& value : overflowing) {
        EXPECT_EQ(statusOf(value), dispOverflow) << testing::PrintToString(value);
    }
    mismatching.insert(mismatching.end(), {Null{}, Missing{}, Bytes{std::byte{1}}});
    for (const Variant& value : mismatching) {
        EXPECT_EQ(statusOf(value), dispTypeMismatch) << testing::PrintToString(value);
    }
    EXPECT_EQ(convert(Empty{}), Result{});
}

TEST(Variant, becomesAnInt32RoundedHalfToEvenOrAnError) {
    using Is = Case<std::int32_t>;
    expectEach(toInt32,
               {Is{true, -1}, Is{false, 0}, Is{-5, -5}, Is{2147483647, 2147483647}, Is{2.5, 2}, Is{3.5, 4},
                Is{-2.5, -2}, Is{2147483647.4, 2147483647}, Is{1.5F, 2}, Is{"42", 42}, Is{" \t-42 ", -42},
                Is{"+5.6e0", 6}, Is{"25e-1", 2}, Is{decimal("2.5000000000000000000000000001"), 3},
                Is{decimal("-3.5"), -4}, Is{decimal("2147483647"), 2147483647}, Is{noon, 45352}},
               {2147483648, largest, 2147483647.5, std::nan(""), "1e400", "4294967296",
                decimal("-2147483649"), decimal("99999999999999999999")},
               {"abc", "1,5", "0x10", "nan", "1e", ""});
}

TEST(Variant, becomesADouble) {
    using Is = Case<double>;
    expectEach(toDouble,
               {Is{"0.1", 0.1}, Is{"1e308", 1e308}, Is{"1e-400", 0.0}, Is{"-.5", -0.5},
                Is{decimal("0.1000000000000000000000000000"), 0.1},
                Is{decimal("79228162514264337593543950335"), 79228162514264337593543950335.0}, Is{true, -1.0},
                Is{noon, 45351.5}, Is{beforeDayZero, -1.25}},
               {"-1e309"});
}

TEST(Variant, becomesATextThatFollowsNoLocale) {
    const orvel::tests::Locale commas("de_DE.ISO-8859-1");
    using Is = Case<std::string>;
    expectEach(toText,
               {Is{true, "-1"}, Is{false, "0"},
                Is{std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
                Is{largest, "18446744073709551615"}, Is{0.1 + 0.2, "0.3"}, Is{-0.0, "0"}, Is{1e15, "1E+15"},
                Is{123456789012345.0, "123456789012345"}, Is{1.0 / 3, "0.333333333333333"}, Is{1e-5, "1E-05"},
                Is{1.1F, "1.1"}, Is{infinity, "INF"}});
    expectEach(toText, {Is{decimal("-0012.500"), "-12.500"}, Is{decimal("0.0"), "0.0"},
                        Is{decimal("-0"), "0"}, Is{decimal("12E2"), "1200"},
                        Is{decimal("7922816251426433759354395.0335"), "7922816251426433759354395.0335"},
                        Is{noon, "2024-02-29 12:00:00"},
                        Is{Date{Date::Parts::date, 44, 3, 15, 0, 0, 0, 0}, "0044-03-15"},
                        Is{Date{Date::Parts::time, 1899, 12, 30, 1, 2, 3, 45'600'000}, "01:02:03.0456"},
                        Is{"as it is", "as it is"}});
}

TEST(Variant, becomesADecimalOf96Bits) {
    using Is = Case<Decimal>;
    expectEach(toDecimal,
               {Is{std::numeric_limits<std::int64_t>::min(), {1ULL << 63, 0, 0, Decimal::negative}},
                Is{1.5, {15, 0, 1, 0}}, Is{"12.50", {1250, 0, 2, 0}}, Is{true, {1, 0, 0, Decimal::negative}},
                Is{"79228162514264337593543950335", {~0ULL, ~0U, 0, 0}},
                Is{"79228162514264337593543950334.5", {~0ULL - 1, ~0U, 0, 0}},
                Is{"0.00000000000000000000000000015", {2, 0, 28, 0}}, Is{"1e-100", {0, 0, 28, 0}},
                Is{"-0", {0, 0, 0, 0}}},
               {"79228162514264337593543950336", 1e300, infinity}, {"1.2.3"});
}

TEST(Variant, exactDecimalsAndDatesAreTakenOnlyWhenNothingIsLost) {
    Decimal number;
    for (const char* digits :
         {"79228162514264337593543950336", "0.00000000000000000000000000001", "NaN", "", "1 2"}) {
        EXPECT_FALSE(parseExact(digits, number)) << digits;
    }
    Date date;
    for (const char* day : {"2023-02-29", "24:00:00", "-100:00:00", "0000-00-00", "2024-01-01 12:00:00 BC",
                            "infinity", "", "2024-01-01 12:00:00.", "2024-1-1"}) {
        EXPECT_FALSE(parseDate(day, date)) << day;
    }
    for (const char* day : {"2024-02-29 12:00:00", "23:59:59.000001"}) {
        EXPECT_TRUE(parseDate(day, date)) << day;
        EXPECT_EQ(toText(date), day);
    }
}

} // namespace
