#pragma once

#include <Kestrel/Root/Export.h>

namespace MD5 {

/// The digest: 16 bytes in the order of the published algorithm.
struct FingerPrint {
    static constexpr unsigned int Size = 16;
    unsigned char bytes[Size] = {};

    friend bool operator==(FingerPrint const &, FingerPrint const &) = default;
};

/// Computes the MD5 digest of a stream of bytes (RFC 1321), in pieces of any size. For comparing
/// content; not for security.
///
/// Memory:  none.
/// Threads: one at a time.
/// Failure: none.
class KESTREL_API Generator {
public:
    Generator() { Reset(); }
    void Update(void const * data, unsigned int count);
    /// The digest of everything so far. The generator then starts again.
    void Finish(FingerPrint & digest);
    void Reset();

private:
    unsigned int state[4];
    unsigned long long length; // bytes so far
    unsigned char block[64];   // the last length % 64 of them
};

} // namespace MD5
