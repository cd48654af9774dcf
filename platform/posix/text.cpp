#include "platform/text.h"

#include <iconv.h>
#include <langinfo.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <cwchar>
#include <locale>
#include <stdexcept>

namespace {

/// What the C library calls the codeset of "C" and "POSIX".
constexpr std::string_view unsetCodeset = "ANSI_X3.4-1968";

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

} // namespace

namespace orvel::platform {

bool narrowIsUtf8() noexcept {
    const std::string_view codeset(nl_langinfo(CODESET));
    return codeset == "UTF-8" || codeset == unsetCodeset;
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

std::u16string utf8ToUtf16(std::string_view utf8) {
    using Facet = std::codecvt<char16_t, char8_t, std::mbstate_t>;
    const auto& facet = std::use_facet<Facet>(std::locale::classic());
    const std::u8string source(utf8.begin(), utf8.end());
    std::u16string converted(source.size(), u'\0'); // UTF-16 never needs more units than UTF-8 needs bytes
    std::mbstate_t state{};
    const char8_t* sourceEnd = nullptr;
    char16_t* convertedEnd = nullptr;
    const auto result = facet.in(state, source.data(), source.data() + source.size(), sourceEnd,
                                 converted.data(), converted.data() + converted.size(), convertedEnd);
    if (result != std::codecvt_base::ok || sourceEnd != source.data() + source.size()) {
        throw std::runtime_error("text is not valid UTF-8");
    }
    converted.resize(static_cast<std::size_t>(convertedEnd - converted.data()));
    return converted;
}

std::size_t utf16Length(std::string_view utf8) noexcept {
    std::size_t units = 0;
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0U) != 0x80U) {
            units += byte >= 0xF0U ? 2 : 1;
        } // a character's first byte
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
