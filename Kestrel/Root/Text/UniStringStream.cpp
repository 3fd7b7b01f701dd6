#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Internal/Utf8.h>
#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Root/Text/UniString.h>

#include <algorithm>
#include <ostream>

namespace Mu {

namespace {

constexpr unsigned int PieceLength = 512; // units read or written at once, through the stack

} // namespace

ClassInfo const & UniString::GetClassInfoStatic() {
    static ClassInfo const info("Mu::UniString", ClassVersion(1, 0));
    return info;
}

ClassInfo const & UniString::GetClassInfo() const {
    return GetClassInfoStatic();
}

UniString * UniString::Clone() const {
    return new UniString(*this);
}

MuErrCode UniString::Read(IChannel & channel) {
    if (IsNull(channel))
        return Error;
    ClearContent();
    unsigned int count = 0;
    MuErrCode status = channel.Read(count);
    if (status != NoError)
        return status;
    try {
        status = ReadUnits(channel, count);
    } catch (OutOfMemoryException const &) {
        status = ErrMemoryFull;
    }
    if (status != NoError)
        Clear();
    return status;
}

// The count comes from outside and allocates nothing by itself: the text grows as its bytes arrive.
MuErrCode UniString::ReadUnits(IChannel & channel, unsigned int count) {
    unsigned char bytes[2 * PieceLength];
    while (count > 0) {
        unsigned int const piece = std::min(count, PieceLength);
        MuErrCode const status =
            channel.ReadBin(reinterpret_cast<char *>(bytes), 2 * piece, nullptr);
        if (status != NoError)
            return IChannel::ConvertObjectReadError(status);
        unsigned short * const place = MakeRoom(length, 0, piece);
        for (unsigned int i = 0; i < piece; ++i)
            place[i] = static_cast<unsigned short>(bytes[2 * i] | bytes[2 * i + 1] << 8);
        count -= piece;
    }
    return NoError;
}

MuErrCode UniString::Write(OChannel & channel) const {
    if (IsNull(channel))
        return Error;
    MuErrCode status = channel.Write(length);
    for (unsigned int at = 0; at < length && status == NoError; at += PieceLength) {
        char bytes[2 * PieceLength];
        ConstSubstring const piece = GetSubstring(at, PieceLength);
        for (unsigned int i = 0; i < piece.GetLength(); ++i) {
            bytes[2 * i] = static_cast<char>(piece[i] & 0xFF);
            bytes[2 * i + 1] = static_cast<char>(piece[i] >> 8);
        }
        status = channel.WriteBin(bytes, 2 * piece.GetLength(), nullptr);
    }
    return status;
}

// In pieces that allocate nothing, so that running out of memory can still be reported. A pair of
// surrogates is kept in one piece.
void UniString::Print(OChannel & channel) const {
    constexpr unsigned int pieceLength = 64;
    if (IsNull(channel))
        return;
    for (unsigned int at = 0; at < length;) {
        unsigned int count = std::min(length - at, pieceLength);
        if (at + count < length && Internal::IsHighSurrogate(units[at + count - 1]))
            --count;
        channel << ToCStr(at, count, MuLogCharCode).GetText();
        at += count;
    }
}

MuErrCode UniString::CheckState() const {
    return length <= capacity && units[length] == 0 ? NoError : Error;
}

std::ostream & operator<<(std::ostream & stream, UniString const & text) {
    CStr const narrow = text.ToCStr(0, UniString::All, MuLogCharCode);
    return stream.write(narrow, narrow.GetLength());
}

} // namespace Mu
