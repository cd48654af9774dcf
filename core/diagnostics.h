#ifndef ORVEL_DIAGNOSTICS_H
#define ORVEL_DIAGNOSTICS_H

namespace orvel {

/// The forms of a catch line. They differ in a blank on purpose: what was swallowed can be told from what went on.
enum class CatchForm { replaced, swallowed, comError, libraryException };

/// Writes one line, cut at 255 characters, to the debugger output channel.
///
/// @param function  qualified name; its class decides which source unit the line names
/// @param text      data, never a format
void logCatch(CatchForm form, const char* function, unsigned int line, const char* text) noexcept;

/// The SQL trace switch, non-zero for on. Read and set without a lock, from any thread.
void setSqlTrace(int value) noexcept;
int sqlTrace() noexcept;

/// Writes `sql` to the standard error stream when the trace is on.
void traceSql(const char* sql) noexcept;

} // namespace orvel

#endif
