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
using Int64 = std::numeric_limits<std::int64_t>;

Variant text(const char* value) { return std::string(value); }
Variant decimal(std::string_view digits) {
    Decimal value;
    EXPECT_TRUE(parseExact(digits, value)) << digits;
    return value;
}

const Date noon{Date::Parts::both, 2024, 2, 29, 12, 0, 0, 0};
const Date beforeDayZero{Date::Parts::both, 1899, 12, 29, 6, 0, 0, 0};
const Variant none[] = {Null{}, Missing{}, Bytes{std::byte{1}}}; ///< what nothing converts

template <class Result>
struct Case {
    Variant from;
    Result expected{};
    std::uint32_t status = 0; ///< that is raised instead
};

template <class Result, std::size_t count>
void expectEach(Result (*convert)(const Variant&), const Case<Result> (&cases)[count]) {
    const auto statusOf = [](const auto& body) {
        try {
            body();
        } catch (const ComError& error) {
            return error.hresult();
        }
        return std::uint32_t{0};
    };
    for (std::size_t index = 0; index < count; ++index) {
        const Case<Result>& each = cases[index];
        EXPECT_EQ(statusOf([&] { EXPECT_EQ(convert(each.from), each.expected); }), each.status)
            << "case " << index;
    }
    for (const Variant& value : none) EXPECT_EQ(statusOf([&] { convert(value); }), dispTypeMismatch);
    EXPECT_EQ(convert(Empty{}), Result{});
}

TEST(Variant, becomesAnInt32RoundedHalfToEvenOrAnError) {
    using Is = Case<std::int32_t>;
    expectEach<std::int32_t>(
        toInt32, {Is{true, -1}, Is{false, 0}, Is{std::int64_t{-5}, -5},
                  Is{std::int64_t{2147483647}, 2147483647}, Is{std::int64_t{2147483648}, 0, dispOverflow},
                  Is{std::numeric_limits<std::uint64_t>::max(), 0, dispOverflow}, Is{2.5, 2}, Is{3.5, 4},
                  Is{-2.5, -2}, Is{2147483647.4, 2147483647}, Is{2147483647.5, 0, dispOverflow},
                  Is{std::nan(""), 0, dispOverflow}, Is{1.5F, 2}});
    expectEach<std::int32_t>(
        toInt32, {Is{text("42"), 42}, Is{text(" \t-42 "), -42}, Is{text("+5.6e0"), 6}, Is{text("25e-1"), 2},
                  Is{text("1e400"), 0, dispOverflow}, Is{text("4294967296"), 0, dispOverflow},
                  Is{text("abc"), 0, dispTypeMismatch}, Is{text("1,5"), 0, dispTypeMismatch},
                  Is{text("0x10"), 0, dispTypeMismatch}, Is{text("nan"), 0, dispTypeMismatch},
                  Is{text("1e"), 0, dispTypeMismatch}, Is{text(""), 0, dispTypeMismatch}});
    expectEach<std::int32_t>(
        toInt32, {Is{decimal("2.5000000000000000000000000001"), 3}, Is{decimal("-3.5"), -4},
                  Is{decimal("2147483647"), 2147483647}, Is{decimal("-2147483649"), 0, dispOverflow},
                  Is{decimal("99999999999999999999"), 0, dispOverflow}, Is{noon, 45352}});
}

TEST(Variant, becomesADouble) {
    using Is = Case<double>;
    expectEach<double>(
        toDouble,
        {Is{text("0.1"), 0.1}, Is{text("1e308"), 1e308}, Is{text("1e-400"), 0.0}, Is{text("-.5"), -0.5},
         Is{text("-1e309"), 0, dispOverflow}, Is{decimal("0.1000000000000000000000000000"), 0.1},
         Is{decimal("79228162514264337593543950335"), 79228162514264337593543950335.0}, Is{true, -1.0},
         Is{noon, 45351.5}, Is{beforeDayZero, -1.25}}); // the time of day counts away from day 0
}

TEST(Variant, becomesATextThatFollowsNoLocale) {
    const orvel::tests::Locale commas("de_DE.ISO-8859-1");
    using Is = Case<std::string>;
    expectEach<std::string>(toText, {Is{true, "-1"}, Is{false, "0"}, Is{Int64::min(), "-9223372036854775808"},
                                     Is{std::numeric_limits<std::uint64_t>::max(), "18446744073709551615"},
                                     Is{0.1 + 0.2, "0.3"}, Is{-0.0, "0"}, Is{1e15, "1E+15"},
                                     Is{123456789012345.0, "123456789012345"},
                                     Is{1.0 / 3, "0.333333333333333"}, Is{1e-5, "1E-05"}, Is{1.1F, "1.1"},
                                     Is{std::numeric_limits<double>::infinity(), "INF"}});
    expectEach<std::string>(toText,
                            {Is{decimal("-0012.500"), "-12.500"}, Is{decimal("0.0"), "0.0"},
                             Is{decimal("-0"), "0"}, Is{decimal("12E2"), "1200"},
                             Is{decimal("7922816251426433759354395.0335"), "7922816251426433759354395.0335"},
                             Is{noon, "2024-02-29 12:00:00"},
                             Is{Date{Date::Parts::date, 44, 3, 15, 0, 0, 0, 0}, "0044-03-15"},
                             Is{Date{Date::Parts::time, 1899, 12, 30, 1, 2, 3, 45'600'000}, "01:02:03.0456"},
                             Is{text("as it is"), "as it is"}});
}

TEST(Variant, becomesADecimalOf96Bits) {
    using Is = Case<Decimal>;
    expectEach<Decimal>(
        toDecimal,
        {Is{Int64::min(), {1ULL << 63, 0, 0, Decimal::negative}}, Is{1.5, {15, 0, 1, 0}},
         Is{text("12.50"), {1250, 0, 2, 0}}, Is{true, {1, 0, 0, Decimal::negative}},
         Is{text("79228162514264337593543950335"), {~0ULL, ~0U, 0, 0}},
         Is{text("79228162514264337593543950334.5"), {~0ULL - 1, ~0U, 0, 0}},
         Is{text("0.00000000000000000000000000015"), {2, 0, 28, 0}}, Is{text("1e-100"), {0, 0, 28, 0}},
         Is{text("-0"), {0, 0, 0, 0}}, Is{text("79228162514264337593543950336"), {}, dispOverflow},
         Is{1e300, {}, dispOverflow}, Is{std::numeric_limits<double>::infinity(), {}, dispOverflow},
         Is{text("1.2.3"), {}, dispTypeMismatch}});
}

TEST(Variant, becomesABoolean) {
    using Is = Case<bool>;
    expectEach<bool>(toBoolean, {Is{true, true}, Is{0.1, true}, Is{text("TRUE"), true},
                                 Is{text("#true#"), true}, Is{text("2"), true}, Is{decimal("0.01"), true},
                                 Is{std::int64_t{0}, false}, Is{text("False"), false},
                                 Is{decimal("0"), false}, Is{text("yes"), false, dispTypeMismatch}});
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
    EXPECT_TRUE(parseDate("2024-02-29 12:00:00", date) && date == noon);
    EXPECT_TRUE(parseDate("23:59:59.000001", date) && toText(date) == "23:59:59.000001");
}

} // namespace
