#include "platform/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/text.h"

namespace {

template <class Change>
bool changeMode(const std::string& name, Change change) {
    struct stat file{};
    return ::stat(name.c_str(), &file) == 0 && ::chmod(name.c_str(), change(file.st_mode & 07777)) == 0;
}

} // namespace

namespace orvel::platform {

std::string diskName(const char* narrowName) {
    std::string name = narrowToUtf8(narrowName);
    std::replace(name.begin(), name.end(), '\\', '/');
    return name.starts_with("file:") ? "./" + name : name;
}

bool fileExists(const char* narrowName) { return ::access(diskName(narrowName).c_str(), F_OK) == 0; }

bool deleteFile(const std::string& nameOnDisk, bool mayBeMissing) noexcept {
    return ::unlink(nameOnDisk.c_str()) == 0 || (mayBeMissing && errno == ENOENT);
}

bool isSameFile(const char* narrowName, const char* otherNarrowName) {
    struct stat one{};
    struct stat other{};
    return ::stat(diskName(narrowName).c_str(), &one) == 0 &&
           ::stat(diskName(otherNarrowName).c_str(), &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}

bool setReadOnly(const char* narrowName) {
    constexpr mode_t writeBits = S_IWUSR | S_IWGRP | S_IWOTH;
    return changeMode(diskName(narrowName), [](mode_t mode) { return mode & ~writeBits; });
}

bool setReadWrite(const char* narrowName) {
    return changeMode(diskName(narrowName), [](mode_t mode) { return mode | S_IRUSR | S_IWUSR; });
}

} // namespace orvel::platform
