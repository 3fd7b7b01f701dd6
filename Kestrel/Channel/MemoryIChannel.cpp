#include <Kestrel/Channel/MemoryIChannel.h>

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>

namespace IO {

MemoryIChannel::MemoryIChannel() : IChannelAdapter(binIProtocol) {
    SetBinInput(*this);
}

MemoryIChannel::MemoryIChannel(char const * source, unsigned int size, OwnershipType ownership)
    : MemoryIChannel() {
    SetSource(source, size, ownership);
}

MemoryIChannel::~MemoryIChannel() {
    FreeSource();
}

void MemoryIChannel::FreeSource() {
    char * block = const_cast<char *>(source);
    if (ownsSource)
        BMKillPtr(&block);
    source = nullptr;
    ownsSource = false;
}

void MemoryIChannel::SetSource(char const * newSource, unsigned int size, OwnershipType ownership) {
    if (newSource != source)
        FreeSource();
    source = newSource;
    sourceSize = newSource != nullptr ? size : 0;
    ownsSource = ownership == TakeOwnership;
    ResetSource();
}

void MemoryIChannel::RemoveSource() {
    FreeSource();
    sourceSize = 0;
    ResetSource();
}

void MemoryIChannel::ResetSource() {
    position = 0;
    ResetInputBuffer();
}

MuErrCode MemoryIChannel::GetInputPosition(unsigned long long * result) const {
    // Bytes pushed back before the start leave the position at 0.
    *result = position - std::min(position, GetDataSizeInInputBuffer());
    return NoError;
}

MuErrCode MemoryIChannel::GetAvailable(unsigned long long * available) const {
    *available =
        static_cast<unsigned long long>(GetDataSizeInInputBuffer()) + sourceSize - position;
    return NoError;
}

void MemoryIChannel::SetDefaultInputProtocol() {
    SetInputProtocol(binIProtocol);
}

MuErrCode MemoryIChannel::InternalRead(char * destination, unsigned int count,
                                       unsigned int * read) {
    unsigned int const part = std::min(count, sourceSize - position);
    CopyBytes(destination, source + position, part);
    position += part;
    *read = part;
    return part != count ? EOI : NoError;
}

} // namespace IO
