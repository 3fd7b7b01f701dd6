#include <Kestrel/Channel/NullOChannel.h>

#include <Kestrel/Channel/BinProtocol.h>

namespace IO {

NullOChannel::NullOChannel() : OChannelAdapter(binOProtocol) {
    SetBinOutput(*this);
}

NullOChannel::~NullOChannel() = default;

void NullOChannel::SetDefaultOutputProtocol() {
    SetOutputProtocol(binOProtocol);
}

MuErrCode NullOChannel::InternalWrite(char const *, unsigned int count, unsigned int * written) {
    byteCount += count;
    if (written != nullptr)
        *written = count;
    return NoError;
}

} // namespace IO
