#include <chrono>

#include "platform/ado/Variant.h"

namespace {

using orvel::platform::ado::Date;

/// Takes exactly `width` digits off the front of `text`.
template <class Number>
bool takeNumber(std::string_view& text, std::size_t width, Number& number) noexcept {
    unsigned int value = 0;
    for (std::size_t index = 0; index < width; ++index) {
        if (index >= text.size() || text[index] < '0' || text[index] > '9') {
            return false;
        }
        value = value * 10 + static_cast<unsigned int>(text[index] - '0');
    }
    number = static_cast<Number>(value);
    text.remove_prefix(width);
    return true;
}

bool takeCharacter(std::string_view& text, char character) noexcept {
    if (text.empty() || text.front() != character) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

bool takeDay(std::string_view& text, Date& date) noexcept {
    if (!takeNumber(text, 4, date.year) || !takeCharacter(text, '-') || !takeNumber(text, 2, date.month) ||
        !takeCharacter(text, '-') || !takeNumber(text, 2, date.day)) {
        return false;
    }
    using namespace std::chrono;
    return year_month_day(year(date.year), month(date.month), day(date.day)).ok();
}

/// A fraction of one to nine digits, when there is one.
bool takeFraction(std::string_view& text, Date& date) noexcept {
    if (!takeCharacter(text, '.')) {
        return true;
    }
    constexpr std::size_t nanosecondDigits = 9;
    const std::size_t width = std::min(text.size(), nanosecondDigits);
    if (width == 0 || !takeNumber(text, width, date.nanosecond)) {
        return false;
    }
    for (std::size_t missing = width; missing < nanosecondDigits; ++missing) {
        date.nanosecond *= 10;
    }
    return true;
}

bool takeTime(std::string_view& text, Date& date) noexcept {
    return takeNumber(text, 2, date.hour) && takeCharacter(text, ':') && takeNumber(text, 2, date.minute) &&
           takeCharacter(text, ':') && takeNumber(text, 2, date.second) && takeFraction(text, date) &&
           date.hour < 24 && date.minute < 60 && date.second < 60;
}

} // namespace

namespace orvel::platform::ado {

bool parseDate(std::string_view text, Date& date) noexcept {
    Date parsed;
    if (text.size() > 2 && text[2] == ':') {
        parsed.parts = Date::Parts::time;
        if (!takeTime(text, parsed)) {
            return false;
        }
    } else {
        if (!takeDay(text, parsed)) {
            return false;
        }
        parsed.parts = text.empty() ? Date::Parts::date : Date::Parts::both;
        if (!text.empty() && !(takeCharacter(text, ' ') && takeTime(text, parsed))) {
            return false;
        }
    }
    date = parsed;
    return text.empty();
}

} // namespace orvel::platform::ado
