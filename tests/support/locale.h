#ifndef ORVEL_TESTS_LOCALE_H
#define ORVEL_TESTS_LOCALE_H

#include <clocale>
#include <stdexcept>
#include <string>

namespace orvel::tests {

/// Puts a locale in force for the process while it lives.
class Locale {
public:
    explicit Locale(const char* name) {
        if (std::setlocale(LC_ALL, name) == nullptr) {
            throw std::runtime_error(std::string("locale ") + name + " is missing: script/test generates it");
        }
    }
    Locale(const Locale&) = delete;
    Locale& operator=(const Locale&) = delete;
    ~Locale() { std::setlocale(LC_ALL, previous.c_str()); }

private:
    std::string previous = std::setlocale(LC_ALL, nullptr);
};

} // namespace orvel::tests

#endif
