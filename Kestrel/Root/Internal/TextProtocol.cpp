#include <Kestrel/Root/Internal/TextProtocol.h>

#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Values/Guid.h>

#include <charconv>
#include <cstdint>
#include <cstring>

namespace Mu {

namespace {

template <typename Number, typename... Format>
MuErrCode WriteNumber(OChannel & channel, Number value, Format... format) {
    char text[64];
    std::to_chars_result const result = std::to_chars(text, text + sizeof(text), value, format...);
    return channel.WriteBin(text, static_cast<unsigned int>(result.ptr - text), nullptr);
}

constinit TextOProtocol textProtocol;

} // namespace

constinit OProtocol & textOProtocol = textProtocol;

MuErrCode TextOProtocol::Write(OChannel & channel, Guid const & value) {
    char text[Guid::TextSize];
    value.ConvertToString(text);
    return Write(channel, text);
}

MuErrCode TextOProtocol::Write(OChannel & channel, Object const & value) {
    if (IsNull(value))
        return Error;
    value.Print(channel);
    return channel.GetOutputStatus();
}

MuErrCode TextOProtocol::Write(OChannel & channel, char const * text) {
    if (text == nullptr)
        return Error;
    return channel.WriteBin(text, static_cast<unsigned int>(std::strlen(text)), nullptr);
}

MuErrCode TextOProtocol::Write(OChannel & channel, void const * pointer) {
    MuErrCode const status = Write(channel, "0x");
    return status != NoError ? status
                             : WriteNumber(channel, reinterpret_cast<std::uintptr_t>(pointer), 16);
}

// The interfaces treat a long double as a double everywhere.
MuErrCode TextOProtocol::Write(OChannel & channel, long double value) {
    return WriteNumber(channel, static_cast<double>(value));
}
MuErrCode TextOProtocol::Write(OChannel & channel, double value) {
    return WriteNumber(channel, value);
}
MuErrCode TextOProtocol::Write(OChannel & channel, float value) {
    return WriteNumber(channel, value);
}
MuErrCode TextOProtocol::Write(OChannel & channel, unsigned long long value) {
    return WriteNumber(channel, value);
}
MuErrCode TextOProtocol::Write(OChannel & channel, long long value) {
    return WriteNumber(channel, value);
}
MuErrCode TextOProtocol::Write(OChannel & channel, unsigned long value) {
    return WriteNumber(channel, value);
}
MuErrCode TextOProtocol::Write(OChannel & channel, long value) {
    return WriteNumber(channel, value);
}
MuErrCode TextOProtocol::Write(OChannel & channel, unsigned int value) {
    return WriteNumber(channel, value);
}
MuErrCode TextOProtocol::Write(OChannel & channel, int value) {
    return WriteNumber(channel, value);
}
MuErrCode TextOProtocol::Write(OChannel & channel, unsigned short value) {
    return WriteNumber(channel, value);
}
MuErrCode TextOProtocol::Write(OChannel & channel, short value) {
    return WriteNumber(channel, value);
}
MuErrCode TextOProtocol::Write(OChannel & channel, unsigned char value) {
    return Write(channel, static_cast<char>(value));
}
MuErrCode TextOProtocol::Write(OChannel & channel, char value) {
    return channel.WriteBin(&value, 1, nullptr);
}
MuErrCode TextOProtocol::Write(OChannel & channel, bool value) {
    return Write(channel, value ? "true" : "false");
}

} // namespace Mu
