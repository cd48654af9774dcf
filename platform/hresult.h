#ifndef ORVEL_PLATFORM_HRESULT_H
#define ORVEL_PLATFORM_HRESULT_H

#include <cstdint>
#include <string>

namespace orvel::platform {

// The status codes that the platform layer itself raises. 32 bits, the topmost set for a failure.
inline constexpr std::uint32_t eNoInterface = 0x80004002;
inline constexpr std::uint32_t ePointer = 0x80004003;
inline constexpr std::uint32_t eFail = 0x80004005;
inline constexpr std::uint32_t eUnexpected = 0x8000FFFF;
inline constexpr std::uint32_t eFileNotFound = 0x80070002;
inline constexpr std::uint32_t eAccessDenied = 0x80070005;
inline constexpr std::uint32_t eOutOfMemory = 0x8007000E;
inline constexpr std::uint32_t eInvalidArgument = 0x80070057;

/// The words for a status code: those of the codes above, and for any other a text that shows its number.
std::string hresultText(std::uint32_t hresult);

/// A failure of the platform layer: of the XML parser, or of an object that stands for an engine.
///
/// It has no base on purpose. Handlers tell it from the library's own exceptions, which it becomes in the
/// frame of the operation that met it, and from everything foreign.
class ComError {
public:
    /// @param hresult      what failed, as a status code
    /// @param description  what the failing object has to say, in the narrow encoding; may be empty
    ComError(std::uint32_t hresult, std::string description);

    std::uint32_t hresult() const noexcept { return status; }
    const std::string& description() const noexcept { return words; }

    /// The words for the status code, for log lines.
    std::string message() const { return hresultText(status); }

private:
    std::uint32_t status;
    std::string words;
};

/// A call through a reference that refers to nothing: ComError with E_POINTER. Apart, so that each such call costs a comparison.
[[noreturn]] void failNullPointer();

} // namespace orvel::platform

#endif
