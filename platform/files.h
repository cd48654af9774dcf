#ifndef ORVEL_PLATFORM_FILES_H
#define ORVEL_PLATFORM_FILES_H

#include <string>
#include <system_error>

namespace orvel::platform {

/// The name under which the file system knows what the library shows as `narrowName`: in UTF-8, backslashes
/// turned into slashes. A name that begins with "file:" gets "./" in front, or SQLite would read it as a URI.
/// Every file operation of the library goes through here; the operations below do so themselves.
std::string diskName(const char* narrowName);

/// True for anything of that name, a directory included; false when it cannot be looked at.
bool fileExists(const char* narrowName);

/// Unlinks a name as `diskName` gives it: without memory, so that several files go together. Never opens the file: closing
/// it again would drop the locks SQLite holds on it. True when the name is gone; a missing one counts as gone where it
/// `mayBeMissing`.
bool deleteFile(const std::string& nameOnDisk, bool mayBeMissing) noexcept;

/// True when both names lead to the same file (device and inode).
bool isSameFile(const char* narrowName, const char* otherNarrowName);

/// Replaces `content` by that of a regular file; anything else of that name, a directory or a device, is an
/// error. After an error `content` holds what was read before it.
std::error_code readFile(const char* narrowName, std::string& content);

/// Puts a copy of one file in the place of another, in one step: whoever looks at the target, another process
/// or one after a crash included, finds the old file or the whole new one. False when that failed, which
/// leaves the target as it was; a file is never copied onto itself.
///
/// A file that is replaced leaves its owner and its permissions to the copy; where there was none, the copy
/// has those of its source. A target that is a symbolic link to a file stays one, and that file is replaced.
bool replaceByCopy(const char* narrowSource, const char* narrowTarget);

/// Takes the permission to write from everybody; the others stay.
bool setReadOnly(const char* narrowName);

/// Gives the owner the permission to read and to write; the others stay.
bool setReadWrite(const char* narrowName);

} // namespace orvel::platform

#endif
