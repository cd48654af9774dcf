#ifndef ORVEL_TESTS_TEMPORARY_DIRECTORY_H
#define ORVEL_TESTS_TEMPORARY_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace orvel::tests {

/// A directory of a test's own, which goes with all that is in it.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "orvel-test-XXXXXX").string();
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
        std::ifstream stream(directory / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    int mode(const std::string& name) const {
        return static_cast<int>(std::filesystem::status(directory / name).permissions());
    }

private:
    std::filesystem::path directory;
};

} // namespace orvel::tests

#endif
