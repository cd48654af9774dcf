#include "platform/debug_output.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace orvel::platform {

void writeDebugOutput(const char* line) noexcept {
    std::fflush(
        stderr); // an application may have buffered it; lines must not overtake what was written before
    // Nobody can be told that a diagnostic line was lost.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line, std::strlen(line));
}

} // namespace orvel::platform
