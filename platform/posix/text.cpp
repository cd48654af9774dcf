#include "platform/text.h"

#include <iconv.h>
#include <langinfo.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <stdexcept>

namespace {

/// What the C library calls the codeset of "C" and "POSIX".
constexpr const char* unsetCodeset = "ANSI_X3.4-1968";

class Converter {
public:
    Converter(const char* to, const char* from) : handle(iconv_open(to, from)) {
        if (handle == invalid()) {
            throw std::runtime_error(std::string("no conversion from ") + from + " to " + to);
        }
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter() { iconv_close(handle); }

    std::string convert(std::string_view text) {
        std::string converted;
        char* in = const_cast<char*>(text.data()); // iconv's signature; it only reads
        std::size_t inLeft = text.size();
        while (inLeft > 0) {
            pump(&in, &inLeft, converted);
        }
        pump(nullptr, nullptr, converted); // a stateful encoding returns to its initial state
        return converted;
    }

private:
    iconv_t handle;

    static iconv_t invalid() { return reinterpret_cast<iconv_t>(-1); } // NOLINT: iconv's own failure value

    void pump(char** in, std::size_t* inLeft, std::string& converted) {
        std::array<char, 4096> buffer; // filled by iconv
        char* out = buffer.data();
        std::size_t outLeft = buffer.size();
        const std::size_t result = iconv(handle, in, inLeft, &out, &outLeft);
        if (result == static_cast<std::size_t>(-1) && errno != E2BIG) {
            throw std::runtime_error("text cannot be converted between its encoding and the narrow one");
        }
        converted.append(buffer.data(), buffer.size() - outLeft);
    }
};

/// How many of the eight bytes have their highest bit, in a word without others.
constexpr std::size_t highBitsIn(std::uint64_t bytes) { return ((bytes >> 7U) * 0x0101010101010101U) >> 56U; }

} // namespace

namespace orvel::platform {

bool narrowIsUtf8() noexcept {
    const char* const codeset = nl_langinfo(CODESET);
    // Asked for every statement and row: the usual answer is compared here, without a call.
    return codeset[0] == 'U' ? codeset[1] == 'T' && codeset[2] == 'F' && codeset[3] == '-' &&
                                   codeset[4] == '8' && codeset[5] == '\0'
                             : std::strcmp(codeset, unsetCodeset) == 0;
}

std::string narrowToUtf8(std::string_view narrow) {
    return narrowIsUtf8() ? std::string(narrow) : Converter("UTF-8", nl_langinfo(CODESET)).convert(narrow);
}

std::string utf8ToNarrow(std::string_view utf8) {
    return narrowIsUtf8() ? std::string(utf8) : Converter(nl_langinfo(CODESET), "UTF-8").convert(utf8);
}

void assignNarrow(std::string& narrow, std::string_view utf8) {
    if (narrowIsUtf8()) {
        narrow.assign(utf8);
    } else {
        narrow = utf8ToNarrow(utf8);
    }
}

bool narrowEndsWith(std::string_view narrow, char character) noexcept {
    if (narrow.empty() || narrow.back() != character || narrowIsUtf8()) {
        return narrow.ends_with(character);
    }
    std::mbstate_t state{};
    std::size_t last = 1;
    for (; !narrow.empty(); narrow.remove_prefix(last)) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): with a state of the caller's it shares nothing
        const std::size_t length = std::mbrlen(narrow.data(), narrow.size(), &state);
        if (length == 0 || length > narrow.size()) { // a zero, or what is no character
            state = {};
        }
        last = length == 0 || length > narrow.size() ? 1 : length;
    }
    return last == 1;
}

std::size_t utf16Length(std::string_view utf8) noexcept {
    // Eight bytes at a time, each with its highest bit set or clear. Bytes that continue a character are 10xxxxxx; those that
    // begin one of two units are 1111xxxx.
    constexpr std::uint64_t highBits = 0x8080808080808080U;
    std::size_t units = utf8.size();
    while (!utf8.empty()) {
        std::uint64_t bytes = 0;
        const std::size_t count = std::min(utf8.size(), sizeof bytes);
        std::memcpy(&bytes, utf8.data(), count);
        if ((bytes & highBits) != 0) {
            const std::uint64_t continues = bytes & ~(bytes << 1U) & highBits;
            const std::uint64_t beginsTwo = bytes & (bytes << 1U) & (bytes << 2U) & (bytes << 3U) & highBits;
            units += highBitsIn(beginsTwo) - highBitsIn(continues);
        }
        utf8.remove_prefix(count);
    }
    return units;
}

std::string messageToNarrow(std::string_view utf8) {
    try {
        return utf8ToNarrow(utf8);
    } catch (const std::runtime_error&) {
        return std::string(utf8);
    }
}

bool equalIgnoringCase(std::string_view one, std::string_view other) noexcept {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [&](char a, char b) { return lower(a) == lower(b); });
}

} // namespace orvel::platform
