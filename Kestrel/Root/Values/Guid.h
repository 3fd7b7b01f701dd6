#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

#include <functional>

namespace Mu {

class IChannel;
class OChannel;

/// A 128-bit identifier with the layout of a Windows GUID.
class KESTREL_API Guid {
public:
    /// The size of the text form with its terminator.
    static constexpr unsigned int TextSize = 37;

    unsigned int data1 = 0;
    unsigned short data2 = 0;
    unsigned short data3 = 0;
    unsigned char data4[8] = {};

    /// "00112233-4455-6677-8899-aabbccddeeff" and a zero byte.
    void ConvertToString(char * text) const;

    /// Reads or writes field by field with the channel's protocol: the format for exchange between
    /// platforms. An end of input after the first field is Error.
    MuErrCode ReadStructured(IChannel & channel);
    MuErrCode WriteStructured(OChannel & channel) const;

    friend bool operator==(Guid const &, Guid const &) = default;
    unsigned int GenerateHashValue() const;
};

} // namespace Mu

template <>
struct std::hash<Mu::Guid> {
    std::size_t operator()(Mu::Guid const & guid) const { return guid.GenerateHashValue(); }
};
