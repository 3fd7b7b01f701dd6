#include <Kestrel/Root/Streams/OChannel.h>

#include <Kestrel/Root/Internal/TextProtocol.h>
#include <Kestrel/Root/Values/Guid.h>

namespace Mu {

OProtocol::~OProtocol() = default;

MuErrCode OProtocol::Write(OChannel & channel, Guid const & value) {
    return value.WriteStructured(channel);
}

MuErrCode OProtocol::Note(OChannel &, unsigned int, unsigned int, char const *) {
    return NoError;
}

OChannel::~OChannel() = default;

void OChannel::SetOutputProtocol(OProtocol & protocol) {
    if (IsNull(protocol))
        return;
    outputProtocol = &protocol;
    outputWindow.SetPlain(protocol.IsPlain());
}

// The status remains in the channel, which is where writers of text check it.
OChannel & OChannel::operator<<(char const * text) {
    static_cast<void>(textOProtocol.Write(*this, text));
    return *this;
}
OChannel & OChannel::WriteCharacter(char c) {
    static_cast<void>(textOProtocol.Write(*this, c));
    return *this;
}
OChannel & OChannel::operator<<(unsigned int value) {
    static_cast<void>(textOProtocol.Write(*this, value));
    return *this;
}
OChannel & OChannel::operator<<(float value) {
    static_cast<void>(textOProtocol.Write(*this, value));
    return *this;
}
OChannel & OChannel::operator<<(double value) {
    static_cast<void>(textOProtocol.Write(*this, value));
    return *this;
}
OChannel & OChannel::operator<<(void const * pointer) {
    static_cast<void>(textOProtocol.Write(*this, pointer));
    return *this;
}

} // namespace Mu
