#ifndef ORVEL_SQLITE_TEXT_H
#define ORVEL_SQLITE_TEXT_H

#include <source_location>
#include <string>

struct sqlite3;

namespace orvel {

/// Convert in place between the process's narrow encoding and UTF-8; std::runtime_error for a text that
/// cannot be converted.
void ansiToUtf8(std::string& text);
void utf8ToAnsi(std::string& text);

/// SQLite counts the characters of a statement in 31 bits: a longer one is misread.
///
/// @throws QD_SQOrvelException  34 with provider code 18 for more
void requireSqlSize(std::size_t size);

/// The text of a statement in UTF-8: the one given, where narrow text is UTF-8 already, or a converted copy.
class Utf8Text {
public:
    /// @param text  narrow, not null; must outlive this object
    /// @throws QD_SQOrvelException  as `requireSqlSize`
    explicit Utf8Text(const char* text);
    const char* get() const noexcept { return utf8; }

private:
    std::string converted;
    const char* utf8;
};

/// Writes the line of an object for which there was no memory, where the caller gets an empty handle.
void logNoMemory(const char* function, std::source_location where = std::source_location::current()) noexcept;

/// SQLite's message about the last failure on `db`, in the narrow encoding if that can take it.
///
/// @param result  the code of that failure: its general words count where `db` has none of its own
std::string sqliteMessage(sqlite3* db, int result);

} // namespace orvel

#endif
