#ifndef ORVEL_PLATFORM_SECRET_TEXT_H
#define ORVEL_PLATFORM_SECRET_TEXT_H

#include <string>
#include <utility>

namespace orvel::platform {

/// Overwrites the characters of a text that holds a secret, so that they do not stay in freed memory.
void wipe(std::string& text) noexcept;

/// A text that is overwritten when its time is over.
struct SecretText {
    std::string text;

    SecretText() = default;
    explicit SecretText(std::string secret) : text(std::move(secret)) {}
    SecretText(const SecretText&) = delete;
    SecretText& operator=(const SecretText&) = delete;
    ~SecretText() { wipe(text); }
};

} // namespace orvel::platform

#endif
