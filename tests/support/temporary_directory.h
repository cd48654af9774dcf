#ifndef ORVEL_TESTS_TEMPORARY_DIRECTORY_H
#define ORVEL_TESTS_TEMPORARY_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace orvel::tests {

/// A directory of a test's own, the current one while it lives, which goes with all that is in it. It lies in
/// memory where it can: no test has to wait for a disk.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = std::filesystem::is_directory("/dev/shm") ? "/dev/shm/orvel-test-XXXXXX"
                                                                     : "/tmp/orvel-test-XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
        directory = name;
        std::filesystem::current_path(directory);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::current_path(previous, ignored);
        std::filesystem::remove_all(directory, ignored);
    }

    const std::filesystem::path& path() const { return directory; }
    std::string file(const std::string& name) const { return (directory / name).string(); }

    std::string write(const std::string& name, const std::string& content) const {
        std::filesystem::remove(directory / name); // it may be read-only
        std::ofstream(directory / name, std::ios::binary) << content;
        return file(name);
    }
    std::string read(const std::string& name) const {
        std::ostringstream content;
        content << std::ifstream(directory / name, std::ios::binary).rdbuf();
        return content.str();
    }

private:
    std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::path directory;
};

} // namespace orvel::tests

#endif
