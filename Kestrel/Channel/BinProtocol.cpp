#include <Kestrel/Channel/BinProtocol.h>

#include <Kestrel/Channel/Wire.h>
#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Values/Guid.h>

namespace IO {

constinit BinIProtocol binIProtocol{BinIProtocol::Plain{}};
constinit BinOProtocol binOProtocol{BinOProtocol::Plain{}};

namespace {

static_assert(sizeof(Mu::Guid) == 16, "an identifier travels as it lies in memory");

} // namespace

BinIProtocol::~BinIProtocol() = default;

// Kept: the status is returned unchanged, even for a truncated identifier.
MuErrCode BinIProtocol::Read(Mu::IChannel & channel, Mu::Guid & value) {
    return channel.ReadBin(reinterpret_cast<char *>(&value), sizeof value, nullptr);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, Mu::Object & value) {
    return value.Read(channel);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, char * text) {
    if (text == nullptr)
        return Error;
    unsigned int length = 0;
    return Wire::ReadText(channel, text, &length);
}

BinOProtocol::~BinOProtocol() = default;

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, Mu::Guid const & value) {
    return channel.WriteBin(reinterpret_cast<char const *>(&value), sizeof value, nullptr);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, Mu::Object const & value) {
    return value.Write(channel);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, char const * text) {
    unsigned int length = 0;
    if (text == nullptr || !Wire::MeasureText(text, &length))
        return Error;
    // A failure sticks and is returned by the next write.
    if (&channel.GetOutputProtocol() == &binOProtocol)
        (void)Wire::WriteValue<order>(channel, length); // the same without the virtual call
    else
        (void)channel.Write(length);
    return channel.WriteBin(text, length, nullptr);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, void const * pointer) {
    return Wire::WriteValue<order>(
        channel, static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)));
}

} // namespace IO
