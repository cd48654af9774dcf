#include "platform/debug_output.h"

#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace orvel::platform {

void writeDebugOutput(const char* line) noexcept {
    std::fflush(
        stderr); // an application may have buffered it; lines must not overtake what was written before
    const std::size_t length = std::strlen(line);
    char lineFeed = '\n';
    const std::array<iovec, 2> pieces = {{
        {.iov_base = const_cast<char*>(line), .iov_len = length}, // writev's signature; it only reads
        {.iov_base = &lineFeed, .iov_len = length != 0 && line[length - 1] == '\n' ? 0U : 1U},
    }};
    // There is nobody to tell that a diagnostic line was lost.
    [[maybe_unused]] const ssize_t written = ::writev(STDERR_FILENO, pieces.data(), pieces.size());
}

} // namespace orvel::platform
