#ifndef QD_ORVEL_DEBUG_OUTPUT_H
#define QD_ORVEL_DEBUG_OUTPUT_H

#include "QD_OrvelExport.h"

/// Receives one diagnostic line, whole: null-terminated, at most 255 characters, normally ending in a line
/// feed (one that had to be cut has lost it). Called on the thread on which the failure was met, possibly by
/// several threads at once. It must not call the library.
using QD_OrvelDebugOutput = void (*)(const char* line) noexcept;

/// Sends the library's diagnostic lines somewhere else than to standard error.
///
/// @param sink  null: standard error again, one write a line; a line that was cut gets a line feed there
/// @return the sink in force until now, null for standard error
///
/// Callable from any thread. A line under way may still reach the old sink.
QD_ORVEL_EXPORT QD_OrvelDebugOutput QD_OrvelSetDebugOutput(QD_OrvelDebugOutput sink) noexcept;

#endif
