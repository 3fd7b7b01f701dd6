#pragma once

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <unistd.h>

namespace Mu::Platform {

/// The kernel's list of the process's regions, ascending, a line each: "start-end rwxp ...". Read
/// byte by byte from a small buffer, since a line may be split between two reads.
///
/// Memory: none. Threads: one at a time. Failure: the list ends.
class RegionList {
public:
    struct Region {
        std::uintptr_t start = 0;
        std::uintptr_t end = 0;
        bool readable = false;
        bool writeable = false;
        bool executable = false;
    };

    RegionList() : file(open("/proc/self/maps", O_RDONLY | O_CLOEXEC)) {}
    ~RegionList() {
        if (file >= 0)
            close(file);
    }
    RegionList(RegionList const &) = delete;
    RegionList & operator=(RegionList const &) = delete;

    bool GetNext(Region & region) {
        region.start = GetNumber();
        region.end = GetNumber();
        region.readable = GetByte() == 'r';
        region.writeable = GetByte() == 'w';
        region.executable = GetByte() == 'x';
        int c = GetByte();
        while (c != '\n' && c >= 0)
            c = GetByte();
        return c == '\n';
    }

private:
    // The digits, and the one separator after them.
    std::uintptr_t GetNumber() {
        std::uintptr_t number = 0;
        for (int c = GetByte(); (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); c = GetByte())
            number = number * 16 + static_cast<unsigned int>(c <= '9' ? c - '0' : c - 'a' + 10);
        return number;
    }

    int GetByte() {
        if (at == filled) {
            at = filled = 0;
            ssize_t got;
            do
                got = read(file, buffer, sizeof(buffer));
            while (got < 0 && errno == EINTR);
            if (got <= 0)
                return -1;
            filled = got;
        }
        return static_cast<unsigned char>(buffer[at++]);
    }

    int const file;
    char buffer[1024];
    ssize_t at = 0;
    ssize_t filled = 0;
};

} // namespace Mu::Platform
