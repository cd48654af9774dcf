#ifndef PROGRESS_BAR_H
#define PROGRESS_BAR_H

#include <unistd.h>

#include <cstddef>
#include <iostream>
#include <string>
#include <utility>

/// A bar on a terminal; nothing at all when standard output is none.
class ProgressBar {
public:
    ProgressBar(std::string text, std::size_t count)
        : label(std::move(text)), total(count), visible(::isatty(STDOUT_FILENO) != 0) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar() {
        if (visible) {
            std::cout << "\r\033[K" << std::flush;
        }
    }

    void advance() {
        ++done;
        const std::size_t filled = total != 0 ? done * width / total : width;
        if (!visible || filled == drawn) {
            return;
        }
        drawn = filled;
        std::cout << "\r" << label << " [" << std::string(filled, '#') << std::string(width - filled, ' ')
                  << "] " << 100 * done / total << " %" << std::flush;
    }

private:
    static constexpr std::size_t width = 40;
    std::string label;
    std::size_t total;
    std::size_t done = 0;
    std::size_t drawn = width + 1;
    bool visible;
};

#endif
