#pragma once

#include <unistd.h>

namespace IO {

/// Closes a file descriptor at its end, and leaves errno alone then.
class Descriptor {
public:
    /// Takes what an opening call returned; below 0 is none.
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

    /// Takes one where there is none.
    void Take(int opened) { descriptor = opened; }

private:
    int descriptor;
};

} // namespace IO
