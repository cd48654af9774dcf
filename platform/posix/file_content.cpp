#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/files.h"

namespace {

constexpr std::size_t blockSize = 65536;

class Descriptor {
public:
    explicit Descriptor(int opened) : number(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (isOpen()) {
            ::close(number);
        }
    }
    bool isOpen() const { return number >= 0; }
    int get() const { return number; }

private:
    int number;
};

std::error_code lastError() { return {errno, std::generic_category()}; }

/// O_NONBLOCK: to open a pipe that nobody writes to would wait for ever.
Descriptor openForReading(const std::string& name) {
    return Descriptor(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

bool isRegular(const Descriptor& file, struct stat& status) {
    return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}

/// Hands the blocks of a file to `take` until its end, an error, or an answer of false.
template <class Take>
bool readBlocks(const Descriptor& file, Take take) {
    std::array<char, blockSize> block; // NOLINT(cppcoreguidelines-pro-type-member-init): filled by read
    for (;;) {
        const ssize_t length = ::read(file.get(), block.data(), block.size());
        if (length == 0) {
            return true;
        }
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length < 0 || !take(std::string_view(block.data(), static_cast<std::size_t>(length)))) {
            return false;
        }
    }
}

bool writeAll(const Descriptor& file, std::string_view block) {
    while (!block.empty()) {
        const ssize_t length = ::write(file.get(), block.data(), block.size());
        if (length < 0 && errno != EINTR) {
            return false;
        }
        block.remove_prefix(length < 0 ? 0 : static_cast<std::size_t>(length));
    }
    return true;
}

/// With a slash at its end.
std::string directoryOf(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? "./" : name.substr(0, slash + 1);
}

/// A file that is to take the place of another one, in the same directory, and goes unless it does.
class Replacement {
public:
    explicit Replacement(const std::string& targetName)
        : target(targetName),
          name(directoryOf(targetName) + ".orvel-XXXXXX"),
          file(::mkostemp(name.data(), O_CLOEXEC)) {}
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement() {
        if (file.isOpen() && !inPlace) {
            ::unlink(name.c_str());
        }
    }

    bool fill(const Descriptor& source) const {
        return file.isOpen() &&
               readBlocks(source, [this](std::string_view block) { return writeAll(file, block); });
    }

    bool adoptOwnerAndMode(const struct stat& status, bool owner) const {
        if (owner) { // only root may give a file away; whoever may not has made one of its own
            [[maybe_unused]] const int given = ::fchown(file.get(), status.st_uid, status.st_gid);
        }
        return ::fchmod(file.get(), status.st_mode & 0777) == 0;
    }

    bool moveIntoPlace() {
        inPlace = ::fsync(file.get()) == 0 && ::rename(name.c_str(), target.c_str()) == 0;
        return inPlace;
    }

private:
    std::string target;
    std::string name;
    Descriptor file;
    bool inPlace = false;
};

std::string behindLinks(const std::string& name) {
    const std::unique_ptr<char, decltype(&std::free)> path(::realpath(name.c_str(), nullptr), &std::free);
    return path != nullptr ? path.get() : name;
}

/// Makes a rename in the directory of `name` survive a crash. The file is in its place either way.
void syncDirectory(const std::string& name) {
    const std::string directory = directoryOf(name);
    const Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.isOpen()) {
        ::fsync(opened.get());
    }
}

} // namespace

namespace orvel::platform {

std::error_code readFile(const char* narrowName, std::string& content) {
    content.clear();
    const Descriptor file = openForReading(diskName(narrowName));
    struct stat status{};
    if (!file.isOpen()) {
        return lastError();
    }
    if (!isRegular(file, status)) {
        return std::make_error_code(S_ISDIR(status.st_mode) ? std::errc::is_a_directory
                                                            : std::errc::not_supported);
    }
    if (status.st_size > INT_MAX) {
        return std::make_error_code(std::errc::file_too_large);
    }
    content.reserve(static_cast<std::size_t>(status.st_size));
    return readBlocks(file, [&content](std::string_view block) { return content.append(block), true; })
               ? std::error_code()
               : lastError();
}

bool replaceByCopy(const char* narrowSource, const char* narrowTarget) {
    const Descriptor source = openForReading(diskName(narrowSource));
    struct stat sourceStatus{};
    if (!source.isOpen() || !isRegular(source, sourceStatus) || isSameFile(narrowSource, narrowTarget)) {
        return false;
    }
    const std::string target = behindLinks(diskName(narrowTarget));
    struct stat targetStatus{};
    const bool replaces = ::stat(target.c_str(), &targetStatus) == 0;
    Replacement copy(target);
    if (!copy.fill(source) || !copy.adoptOwnerAndMode(replaces ? targetStatus : sourceStatus, replaces) ||
        !copy.moveIntoPlace()) {
        return false;
    }
    syncDirectory(target);
    return true;
}

} // namespace orvel::platform
