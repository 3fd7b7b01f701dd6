#include <Kestrel/Location/Name.h>

#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Objects/Frame.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Root/Text/PlatformConversion.h>

#include <algorithm>

namespace IO {

namespace {

/// Bytes whose number the input specifies: short ones are stored inside, and memory for long ones
/// grows as they arrive, so that a false number costs no memory.
class ClaimedBytes {
public:
    ~ClaimedBytes() { BMKillPtr(&block); }

    MuErrCode Read(Mu::IChannel & channel, unsigned int count) {
        if (count > channel.GetReadLimit())
            return Error;
        if (count < InlineSize)
            return ReadPiece(channel, inside, count);
        for (unsigned int done = 0; done < count;) {
            unsigned int const piece = std::min(count - done, std::max(done, FirstPiece));
            if (!Grow(done, std::size_t{done} + piece + 1))
                return ErrMemoryFull;
            MuErrCode const status = ReadPiece(channel, block + done, piece);
            if (status != NoError)
                return status;
            done += piece;
        }
        return NoError;
    }

    /// Zero-terminated, once Read has succeeded.
    char * Get() { return block != nullptr ? block : inside; }

private:
    static constexpr unsigned int InlineSize = 1025;
    static constexpr unsigned int FirstPiece = 0x10000;

    static MuErrCode ReadPiece(Mu::IChannel & channel, char * to, unsigned int count) {
        to[count] = 0;
        return Mu::IChannel::ConvertObjectReadError(channel.ReadBin(to, count, nullptr));
    }

    bool Grow(unsigned int used, std::size_t size) {
        char * larger = BMAllocatePtr(size, 0, 0);
        if (larger == nullptr)
            return false;
        if (used != 0)
            BNCopyMemory(block, larger, used);
        BMKillPtr(&block);
        block = larger;
        return true;
    }

    char * block = nullptr;
    char inside[InlineSize];
};

// The old form: the number of bytes, the bytes, and from sub-version 1 on the platform that wrote
// them.
MuErrCode ReadOldText(Mu::IChannel & channel, bool hasSign, Mu::UniString & text) {
    unsigned int count = 0;
    MuErrCode status = channel.Read(count);
    if (status != NoError)
        return status;
    ClaimedBytes bytes;
    status = bytes.Read(channel, count);
    if (status != NoError)
        return status;
    if (hasSign) {
        unsigned short sign = 0;
        status = channel.Read(sign);
        if (status != NoError)
            return status;
        if (sign != Mu::WindowsSign)
            IVChars(static_cast<Mu::PlatformSign>(sign), bytes.Get(), static_cast<int>(count),
                    MuMachineCharCode, Mu::WindowsSign);
    }
    text.Assign(bytes.Get(), count, MuMachineCharCode);
    return NoError;
}

// Kept: the count is that of the units, and that number of bytes is written, whatever the
// conversion results in. Readers of the old form rely on names of one byte per unit.
void WriteOldText(Mu::OChannel & channel, bool hasSign, Mu::UniString const & text) {
    Mu::CStr const bytes = text.ToCStr();
    unsigned int const count = text.GetLength();
    channel.Write(count);
    unsigned int const given = std::min(count, bytes.GetLength());
    channel.WriteBin(bytes.GetText(), given, nullptr);
    for (unsigned int i = given; i < count; ++i)
        channel.WriteBin("", 1, nullptr);
    if (hasSign)
        channel.WriteUShort(Mu::WindowsSign);
}

MuErrCode ReadFramedText(Mu::IChannel & channel, Mu::UniString & text) {
    Mu::InputFrame const frame(channel, Name::GetClassInfoStatic());
    if (frame.GetStatus() != NoError)
        return frame.GetStatus();
    if (frame.GetMainVersion() >= 2)
        return text.Read(channel);
    bool const hasSign = frame.GetSubVersion() != 0;
    if (hasSign && frame.GetDataLength() == 0)
        return NoError;
    return ReadOldText(channel, hasSign, text);
}

} // namespace

MuErrCode Name::Read(Mu::IChannel & channel) {
    if (Mu::IsNull(channel))
        return Error;
    Clear();
    return WithoutException([&] { return ReadFramedText(channel, text); });
}

MuErrCode Name::Write(Mu::OChannel & channel) const {
    if (Mu::IsNull(channel))
        return Error;
    return WithoutException([&] {
        {
            Mu::OutputFrame const frame(channel, GetClassInfo());
            if (frame.GetMainVersion() >= 2)
                (void)text.Write(channel); // needs no memory of its own
            else
                WriteOldText(channel, frame.GetSubVersion() != 0, text);
        }
        return channel.GetOutputStatus();
    });
}

void Name::Print(Mu::OChannel & channel) const {
    if (!Mu::IsNull(channel))
        channel << text.ToCStr(0, Mu::UniString::All, MuLogCharCode).GetText();
}

} // namespace IO
