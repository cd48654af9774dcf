#ifndef ORVEL_TESTS_LARGE_TEXT_H
#define ORVEL_TESTS_LARGE_TEXT_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace orvel::tests {

/// A text of `front`, 4 GiB of blanks and `back`, whose blanks all lie in the same 64 MiB of memory.
class LargeText {
public:
    LargeText(const std::string& front, const std::string& back) {
        const int blanks = memfd_create("blanks", 0);
        if (blanks < 0 || ftruncate(blanks, piece) != 0) throw std::runtime_error("no memory file");
        start = map(nullptr, (pieces + 1) * piece, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1);
        for (std::size_t index = 0; index < pieces; ++index) {
            map(start + index * piece, piece, MAP_SHARED | MAP_FIXED, blanks);
        }
        close(blanks);
        std::memset(start, ' ', piece);
        // Its own first page, so that `front` stands in one place only.
        map(start, page, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1);
        std::memset(start, ' ', page);
        std::memcpy(start, front.data(), front.size());
        std::memcpy(start + pieces * piece, back.c_str(), back.size() + 1);
    }
    LargeText(const LargeText&) = delete;
    LargeText& operator=(const LargeText&) = delete;
    ~LargeText() { munmap(start, (pieces + 1) * piece); }

    const char* get() const { return start; }

private:
    static char* map(void* at, std::size_t size, int flags, int file) {
        void* const mapped = mmap(at, size, PROT_READ | PROT_WRITE, flags, file, 0);
        if (mapped == MAP_FAILED) throw std::runtime_error("no address space");
        return static_cast<char*>(mapped);
    }

    static constexpr std::size_t page = 4096, piece = std::size_t{64} << 20U, pieces = 64;
    char* start;
};

} // namespace orvel::tests

#endif
