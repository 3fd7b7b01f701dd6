#include <Kestrel/Channel/MD5Channel.h>

#include <Kestrel/Channel/BinProtocol.h>

namespace IO {

MD5Channel::MD5Channel() : OChannelAdapter(binOProtocol) {
    SetBinOutput(*this);
}

MD5Channel::~MD5Channel() = default;

void MD5Channel::Finish(MD5::FingerPrint * fingerPrint) {
    (void)Flush(); // a failure sticks in the channel
    generator.Finish(*fingerPrint);
    finished = true;
}

void MD5Channel::SetDefaultOutputProtocol() {
    SetOutputProtocol(binOProtocol);
}

MuErrCode MD5Channel::InternalWrite(char const * source, unsigned int count,
                                    unsigned int * written) {
    generator.Update(source, count);
    *written = count;
    return NoError;
}

} // namespace IO
