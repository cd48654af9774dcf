#include "platform/ado/Variant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

#include "platform/ado/status.h"
#include "platform/hresult.h"
#include "tests/support/locale.h"

namespace {

using namespace orvel::platform;
using namespace orvel::platform::ado;

constexpr std::uint32_t ok = 0;

/// The status that a conversion raises, `ok` when it raises none.
template <class Conversion>
std::uint32_t statusOf(Conversion&& conversion) {
    try {
        conversion();
        return ok;
    } catch (const ComError& error) {
        return error.hresult();
    }
}

Variant decimal(std::string_view text) {
    Decimal value;
    EXPECT_TRUE(parseExact(text, value)) << text;
    return value;
}

const Date noon{Date::Parts::both, 2024, 2, 29, 12, 0, 0, 0};
const Date beforeDayZero{Date::Parts::both, 1899, 12, 29, 6, 0, 0, 0};

TEST(Variant, becomesAnInt32RoundedHalfToEvenOrAnError) {
    struct Case {
        Variant from;
        std::int32_t expected;
        std::uint32_t status = ok;
    };
    const Case cases[] = {
        {Empty{}, 0},
        {true, -1},
        {false, 0},
        {std::int64_t{-5}, -5},
        {std::int64_t{2147483647}, 2147483647},
        {std::int64_t{2147483648}, 0, dispOverflow},
        {std::uint64_t{18446744073709551615U}, 0, dispOverflow},
        {2.5, 2},
        {3.5, 4},
        {-2.5, -2},
        {2147483647.4, 2147483647},
        {2147483647.5, 0, dispOverflow},
        {std::nan(""), 0, dispOverflow},
        {1.5F, 2},
        {std::string("42"), 42},
        {std::string(" \t-42 "), -42},
        {std::string("+5.6e0"), 6},
        {std::string("2.5"), 2},
        {std::string("1e400"), 0, dispOverflow},
        {std::string("4294967296"), 0, dispOverflow},
        {std::string("abc"), 0, dispTypeMismatch},
        {std::string("1,5"), 0, dispTypeMismatch},
        {std::string("0x10"), 0, dispTypeMismatch},
        {std::string("nan"), 0, dispTypeMismatch},
        {std::string("1e"), 0, dispTypeMismatch},
        {std::string(""), 0, dispTypeMismatch},
        {decimal("2.5000000000000000000000000001"), 3},
        {decimal("-3.5"), -4},
        {decimal("99999999999999999999"), 0, dispOverflow},
        {noon, 45352}, // 45351.5
        {Null{}, 0, dispTypeMismatch},
        {Missing{}, 0, dispTypeMismatch},
        {Bytes{std::byte{1}}, 0, dispTypeMismatch},
    };
    for (std::size_t index = 0; index < std::size(cases); ++index) {
        const Case& each = cases[index];
        EXPECT_EQ(statusOf([&] { EXPECT_EQ(toInt32(each.from), each.expected); }), each.status)
            << "case " << index;
    }
}

TEST(Variant, becomesADouble) {
    EXPECT_EQ(toDouble(std::string("0.1")), 0.1);
    EXPECT_EQ(toDouble(std::string("1e308")), 1e308);
    EXPECT_EQ(toDouble(std::string("1e-400")), 0.0);
    EXPECT_EQ(toDouble(std::string("-.5")), -0.5);
    EXPECT_EQ(toDouble(decimal("0.1000000000000000000000000000")), 0.1);
    EXPECT_EQ(toDouble(decimal("79228162514264337593543950335")), 79228162514264337593543950335.0);
    EXPECT_EQ(toDouble(true), -1.0);
    EXPECT_EQ(toDouble(noon), 45351.5);
    EXPECT_EQ(toDouble(beforeDayZero), -1.25); // the time of day counts away from day 0
    EXPECT_EQ(statusOf([] { toDouble(std::string("-1e309")); }), dispOverflow);
    EXPECT_EQ(statusOf([] { toDouble(Null{}); }), dispTypeMismatch);
}

TEST(Variant, becomesATextThatFollowsNoLocale) {
    const orvel::tests::Locale commas("de_DE.ISO-8859-1");
    struct Case {
        Variant from;
        std::string expected;
    };
    const Case cases[] = {
        {Empty{}, ""},
        {true, "-1"},
        {false, "0"},
        {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
        {std::numeric_limits<std::uint64_t>::max(), "18446744073709551615"},
        {0.1 + 0.2, "0.3"},
        {-0.0, "0"},
        {1e15, "1E+15"},
        {123456789012345.0, "123456789012345"},
        {1.0 / 3, "0.333333333333333"},
        {1e-5, "1E-05"},
        {1.1F, "1.1"},
        {std::numeric_limits<double>::infinity(), "INF"},
        {decimal("-0012.500"), "-12.500"},
        {decimal("0.0"), "0.0"},
        {decimal("-0"), "0"},
        {decimal("12E2"), "1200"},
        {decimal("7922816251426433759354395.0335"), "7922816251426433759354395.0335"},
        {noon, "2024-02-29 12:00:00"},
        {Date{Date::Parts::date, 44, 3, 15, 0, 0, 0, 0}, "0044-03-15"},
        {Date{Date::Parts::time, 1899, 12, 30, 1, 2, 3, 45'600'000}, "01:02:03.0456"},
        {std::string("as it is"), "as it is"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(toText(each.from), each.expected);
    }
    EXPECT_EQ(statusOf([] { toText(Null{}); }), dispTypeMismatch);
    EXPECT_EQ(statusOf([] { toText(Bytes{}); }), dispTypeMismatch);
}

TEST(Variant, becomesADecimalOf96Bits) {
    EXPECT_EQ(toDecimal(std::numeric_limits<std::int64_t>::min()),
              (Decimal{1ULL << 63, 0, 0, Decimal::negative}));
    EXPECT_EQ(toDecimal(std::int64_t{-9000000000}), (Decimal{9000000000, 0, 0, Decimal::negative}));
    EXPECT_EQ(toDecimal(1.5), (Decimal{15, 0, 1, 0}));
    EXPECT_EQ(toDecimal(std::string("12.50")), (Decimal{1250, 0, 2, 0}));
    EXPECT_EQ(toDecimal(true), (Decimal{1, 0, 0, Decimal::negative}));
    EXPECT_EQ(toDecimal(std::string("79228162514264337593543950335")), (Decimal{~0ULL, ~0U, 0, 0}));
    // Digits of the fraction give way, half to even, before anything overflows.
    EXPECT_EQ(toText(toDecimal(std::string("79228162514264337593543950334.5"))),
              "79228162514264337593543950334");
    EXPECT_EQ(toText(toDecimal(std::string("0.00000000000000000000000000015"))),
              "0.0000000000000000000000000002");
    EXPECT_EQ(toText(toDecimal(std::string("1e-100"))), "0.0000000000000000000000000000");
    EXPECT_EQ(statusOf([] { toDecimal(std::string("79228162514264337593543950336")); }), dispOverflow);
    EXPECT_EQ(statusOf([] { toDecimal(1e300); }), dispOverflow);
    EXPECT_EQ(statusOf([] { toDecimal(std::numeric_limits<double>::infinity()); }), dispOverflow);
    EXPECT_EQ(statusOf([] { toDecimal(std::string("1.2.3")); }), dispTypeMismatch);
}

TEST(Variant, becomesABoolean) {
    for (const Variant& value :
         {Variant(true), Variant(0.1), Variant(std::string("TRUE")), Variant(std::string("#true#")),
          Variant(std::string("2")), decimal("0.01")}) {
        EXPECT_TRUE(toBoolean(value)) << toText(value);
    }
    for (const Variant& value :
         {Variant(Empty{}), Variant(std::int64_t{0}), Variant(std::string("False")), decimal("0")}) {
        EXPECT_FALSE(toBoolean(value)) << toText(value);
    }
    EXPECT_EQ(statusOf([] { toBoolean(std::string("yes")); }), dispTypeMismatch);
}

TEST(Variant, exactDecimalsAndDatesAreTakenOnlyWhenNothingIsLost) {
    Decimal number;
    for (const char* text :
         {"79228162514264337593543950336", "0.00000000000000000000000000001", "NaN", "", "1 2"}) {
        EXPECT_FALSE(parseExact(text, number)) << text;
    }
    Date date;
    for (const char* text : {"2023-02-29", "24:00:00", "-100:00:00", "0000-00-00", "2024-01-01 12:00:00 BC",
                             "infinity", "", "2024-01-01 12:00:00.", "2024-1-1"}) {
        EXPECT_FALSE(parseDate(text, date)) << text;
    }
    EXPECT_TRUE(parseDate("2024-02-29 12:00:00", date));
    EXPECT_EQ(date, noon);
    EXPECT_TRUE(parseDate("23:59:59.000001", date));
    EXPECT_EQ(toText(date), "23:59:59.000001");
}

} // namespace
