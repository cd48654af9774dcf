#ifndef ORVEL_TESTS_TEMPORARY_DIRECTORY_H
#define ORVEL_TESTS_TEMPORARY_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace orvel::tests {

/// A place whose files cost no waiting for a disk; the usual one where there is none.
inline std::filesystem::path memoryFileSystem() {
    const std::filesystem::path memory = "/dev/shm";
    return std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
}

/// A directory of a test's own, which goes with all that is in it.
class TemporaryDirectory {
public:
    explicit TemporaryDirectory(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::string name = (parent / "orvel-test-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make a directory in " + name);
        }
        directory = name;
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }

    const std::filesystem::path& path() const { return directory; }
    std::string file(const std::string& name) const { return (directory / name).string(); }

    std::string write(const std::string& name, const std::string& content) const {
        std::ofstream(directory / name, std::ios::binary | std::ios::trunc) << content;
        return file(name);
    }
    std::string read(const std::string& name) const {
        std::string content(std::filesystem::file_size(directory / name), '\0');
        std::ifstream(directory / name, std::ios::binary)
            .read(content.data(), static_cast<std::streamsize>(content.size()));
        return content;
    }
    std::size_t count() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(directory), {}));
    }
    int mode(const std::string& name) const {
        return static_cast<int>(std::filesystem::status(directory / name).permissions());
    }

private:
    std::filesystem::path directory;
};

} // namespace orvel::tests

#endif
