#ifndef ORVEL_PLATFORM_FILES_H
#define ORVEL_PLATFORM_FILES_H

#include <string>

namespace orvel::platform {

/// The name under which the file system knows what the library shows as `narrowName`: in UTF-8, backslashes
/// turned into slashes. A name that begins with "file:" gets "./" in front, or SQLite would read it as a URI.
/// Every file operation of the library goes through here; the operations below do so themselves.
std::string diskName(const char* narrowName);

/// True for anything of that name, a directory included; false when it cannot be looked at.
bool fileExists(const char* narrowName);

/// Unlinks the name. Never opens the file: closing it again would drop the locks SQLite holds on it.
bool deleteFile(const char* narrowName);

/// True when both names lead to the same file (device and inode).
bool isSameFile(const char* narrowName, const char* otherNarrowName);

} // namespace orvel::platform

#endif
