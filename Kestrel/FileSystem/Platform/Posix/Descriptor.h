#pragma once

#include <unistd.h>

namespace IO {

/// Owns a file descriptor. Its destruction leaves errno unchanged.
class Descriptor {
public:
    /// Takes the result of an opening call; below 0 is none.
    explicit Descriptor(int descriptor) : descriptor(descriptor) {}
    ~Descriptor();
    Descriptor(Descriptor const &) = delete;
    Descriptor & operator=(Descriptor const &) = delete;

    bool IsOpen() const { return descriptor >= 0; }
    int Get() const { return descriptor; }
    int Release() {
        int const released = descriptor;
        descriptor = -1;
        return released;
    }

    /// Takes a descriptor; it must own none yet.
    void Take(int opened) { descriptor = opened; }

private:
    int descriptor;
};

} // namespace IO
