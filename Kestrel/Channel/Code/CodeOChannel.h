#pragma once

#include <Kestrel/Channel/OChannelAdapter.h>

#include <cstddef>

namespace IO {

/// Enciphers what is written to it into another channel, as records of 19 bytes with up to 16 bytes
/// of data each, which a reader can decipher one by one; see CodeIChannel.
///
/// The stream is complete only when the channel is gone: its destructor writes the record that ends
/// it. The data can be read with the key; that it is unchanged, nothing proves.
///
/// Memory:  the cipher's tables, 4168 bytes, and the adapter's block.
/// Threads: one at a time. The destination must outlive the channel.
/// Failure: what the destination says. The destructor reports nothing; check the destination.
class KESTREL_API CodeOChannel : public OChannelAdapter {
public:
    /// Takes over the destination's present protocol. A null or empty key is one like any other,
    /// known to everyone. Throws Mu::OutOfMemoryException.
    CodeOChannel(Mu::OChannel & destination, void const * key, unsigned int length);
    ~CodeOChannel() override;

    /// The destination's present protocol.
    void SetDefaultOutputProtocol() override;

private:
    class CodeOChannelImp;

    alignas(std::max_align_t) char storage[2048]; // of the implementation
    CodeOChannelImp * imp;
};

} // namespace IO
