#ifndef ORVEL_PLATFORM_DEBUG_OUTPUT_H
#define ORVEL_PLATFORM_DEBUG_OUTPUT_H

namespace orvel::platform {

/// Writes `line` to the standard error descriptor in one piece, behind what the standard error stream has buffered.
/// A line that does not end in a line feed gets one.
void writeDebugOutput(const char* line) noexcept;

} // namespace orvel::platform

#endif
