#pragma once

#include <Kestrel/Channel/OChannelAdapter.h>

#include <cstddef>

namespace IO {

/// Enciphers what is written to it into another channel, as records of 19 bytes with up to 16 bytes
/// of data each, which CodeIChannel can decipher one by one.
///
/// The stream is complete only after the channel is destroyed, as its destructor writes the record
/// that ends it. The encryption does not protect against modification.
///
/// Memory:  the cipher's tables, 4168 bytes, and the adapter's block.
/// Threads: one at a time. The destination must outlive the channel.
/// Failure: the status of the destination. The destructor reports nothing; check the destination.
class KESTREL_API CodeOChannel : public OChannelAdapter {
public:
    /// Adopts the destination's current protocol. A null or empty key is a valid key that everyone
    /// knows. Throws Mu::OutOfMemoryException.
    CodeOChannel(Mu::OChannel & destination, void const * key, unsigned int length);
    ~CodeOChannel() override;

    /// Adopts the destination's current protocol.
    void SetDefaultOutputProtocol() override;

private:
    class CodeOChannelImp;

    alignas(std::max_align_t) char storage[2048]; // for the implementation
    CodeOChannelImp * imp;
};

} // namespace IO
