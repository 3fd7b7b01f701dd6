#include <Kestrel/Channel/BinProtocol.h>

#include <Kestrel/Channel/Internal/Wire.h>
#include <Kestrel/Root/Guid.h>
#include <Kestrel/Root/Object.h>

namespace IO {

constinit BinIProtocol binIProtocol;
constinit BinOProtocol binOProtocol;

namespace {

constexpr Wire::ByteOrder order = Wire::ByteOrder::LowFirst;

static_assert(sizeof(Mu::Guid) == 16, "an identifier travels as it lies in memory");

} // namespace

BinIProtocol::~BinIProtocol() = default;

MuErrCode BinIProtocol::ReadData(Mu::IChannel & channel, char * destination, unsigned int count) {
    return Wire::ReadWhole(channel, destination, count);
}

// Kept: the status stays as it is, also for an identifier that was cut.
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

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, long double & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, double & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, float & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, unsigned long long & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, long long & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, unsigned long & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, long & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, unsigned int & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, int & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, unsigned short & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, short & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, unsigned char & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, char & value) {
    return Wire::ReadValue<order>(channel, value);
}

MuErrCode BinIProtocol::Read(Mu::IChannel & channel, bool & value) {
    return Wire::ReadValue<order>(channel, value);
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
    (void)channel.Write(length); // a failure sticks, and the next write meets it
    return channel.WriteBin(text, length, nullptr);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, void const * pointer) {
    return Wire::WriteValue<order>(
        channel, static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)));
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, long double value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, double value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, float value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, unsigned long long value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, long long value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, unsigned long value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, long value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, unsigned int value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, int value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, unsigned short value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, short value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, unsigned char value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, char value) {
    return Wire::WriteValue<order>(channel, value);
}

MuErrCode BinOProtocol::Write(Mu::OChannel & channel, bool value) {
    return Wire::WriteValue<order>(channel, value);
}

} // namespace IO
