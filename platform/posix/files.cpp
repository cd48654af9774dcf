#include "platform/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "platform/text.h"

namespace orvel::platform {

std::string diskName(const char* narrowName) {
    std::string name = narrowToUtf8(narrowName);
    std::replace(name.begin(), name.end(), '\\', '/');
    return name.starts_with("file:") ? "./" + name : name;
}

bool fileExists(const char* narrowName) { return ::access(diskName(narrowName).c_str(), F_OK) == 0; }

bool deleteFile(const char* narrowName) { return ::unlink(diskName(narrowName).c_str()) == 0; }

bool isSameFile(const char* narrowName, const char* otherNarrowName) {
    struct stat one{};
    struct stat other{};
    return ::stat(diskName(narrowName).c_str(), &one) == 0 &&
           ::stat(diskName(otherNarrowName).c_str(), &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}

} // namespace orvel::platform
