#include <Kestrel/Root/Objects/Frame.h>

#include <Kestrel/Root/Log/Quietly.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Root/Time/Clock.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>

namespace Mu {

namespace {

constexpr char headerMagic[4] = {'K', 'F', 'r', 'm'};
constexpr char trailerMagic[4] = {'K', 'E', 'n', 'd'};

enum class FrameKind : unsigned char { Closed = 0, Open = 1 };

// The 16 bytes of a header or trailer. The header file describes the layout.
struct FrameMark {
    static constexpr unsigned int Size = 16;
    static constexpr unsigned int CheckPlace = 11;

    unsigned char bytes[Size];

    FrameMark() = default;
    FrameMark(char const (&magic)[4], unsigned int nameHash, ClassVersion version, FrameKind kind,
              unsigned int last) {
        std::memcpy(bytes, magic, sizeof(magic));
        SetNumber(4, nameHash);
        bytes[8] = version.GetMainVersion();
        bytes[9] = version.GetSubVersion();
        bytes[10] = static_cast<unsigned char>(kind);
        SetNumber(12, last);
        bytes[CheckPlace] = ComputeCheck();
    }

    // A change of any one byte changes the sum, since the factor is odd.
    unsigned char ComputeCheck() const {
        unsigned int check = 1;
        for (unsigned int i = 0; i < Size; ++i)
            if (i != CheckPlace)
                check = check * 31 + bytes[i];
        return static_cast<unsigned char>(check);
    }

    void SetNumber(unsigned int place, unsigned int value) {
        for (unsigned int i = 0; i < 4; ++i)
            bytes[place + i] = static_cast<unsigned char>(value >> (8 * i));
    }
    unsigned int GetNumber(unsigned int place) const {
        unsigned int value = 0;
        for (unsigned int i = 4; i > 0; --i)
            value = value << 8 | bytes[place + i - 1];
        return value;
    }

    bool IsHeaderOf(ClassInfo const & classInfo) const {
        return std::memcmp(bytes, headerMagic, sizeof(headerMagic)) == 0 &&
               bytes[CheckPlace] == ComputeCheck() && GetNumber(4) == classInfo.GetNameHash() &&
               bytes[10] <= static_cast<unsigned char>(FrameKind::Open);
    }

    bool IsOpen() const { return bytes[10] == static_cast<unsigned char>(FrameKind::Open); }

    char * GetChars() { return reinterpret_cast<char *>(bytes); }
    char const * GetChars() const { return reinterpret_cast<char const *>(bytes); }
    friend bool operator==(FrameMark const & a, FrameMark const & b) {
        return std::memcmp(a.bytes, b.bytes, Size) == 0;
    }
};

FrameMark TrailerOf(ClassInfo const & classInfo, ClassVersion version, unsigned int tag) {
    return FrameMark(trailerMagic, classInfo.GetNameHash(), version, FrameKind::Open, tag);
}

// Nested open frames must not have the same tag, and bytes chosen by someone else should not look
// like the end of their frame.
unsigned int MakeTag(void const * frame) {
    static std::atomic<unsigned int> counter = 0;
    unsigned long long mixed =
        GetClock().GetMonotonicMicroseconds() ^ (reinterpret_cast<std::uintptr_t>(frame) << 20);
    mixed ^= mixed >> 31;
    mixed *= 0x9E3779B97F4A7C15ull;
    // The low bits are a counter, so that no two of the last 65,536 are equal.
    return (static_cast<unsigned int>(mixed >> 32) & 0xFFFF0000u) | (++counter & 0xFFFFu);
}

thread_local constinit FrameVersionScope const * innermostScope = nullptr;

} // namespace

FrameVersionScope::FrameVersionScope(ClassInfo const & classInfo, ClassVersion version)
    : classInfo(classInfo), version(version), outer(innermostScope) {
    innermostScope = this;
}

FrameVersionScope::~FrameVersionScope() {
    innermostScope = outer;
}

ClassVersion FrameVersionScope::GetVersion(ClassInfo const & classInfo) {
    for (FrameVersionScope const * scope = innermostScope; scope != nullptr; scope = scope->outer)
        if (&scope->classInfo == &classInfo)
            return scope->version;
    return classInfo.GetVersion();
}

OutputFrame::OutputFrame(OChannel & channel, ClassInfo const & classInfo)
    : channel(channel), classInfo(classInfo), version(FrameVersionScope::GetVersion(classInfo)) {
    if (IsNull(channel))
        return;
    // A writer that is overwriting earlier bytes could not be returned to its position.
    marked = channel.GetOffset() == 0 && channel.PushMark() == NoError;
    if (!marked)
        tag = MakeTag(this);
    FrameMark const header(headerMagic, classInfo.GetNameHash(), version,
                           marked ? FrameKind::Closed : FrameKind::Open, tag);
    static_cast<void>(channel.WriteBin(header.GetChars(), FrameMark::Size, nullptr));
}

// A failure here remains in the channel's status, which every writer of an object returns.
OutputFrame::~OutputFrame() {
    if (!IsNull(channel))
        Quietly([this] { Finish(); });
}

void OutputFrame::Finish() {
    if (!marked) {
        FrameMark const trailer = TrailerOf(classInfo, version, tag);
        static_cast<void>(channel.WriteBin(trailer.GetChars(), FrameMark::Size, nullptr));
        return;
    }
    if (channel.PopMark() != NoError)
        return;
    FrameMark const header(headerMagic, classInfo.GetNameHash(), version, FrameKind::Closed,
                           channel.GetOffset() - FrameMark::Size);
    static_cast<void>(channel.WriteBin(header.GetChars(), FrameMark::Size, nullptr));
    channel.ResetOffset();
}

InputFrame::InputFrame(IChannel & channel, ClassInfo const & classInfo)
    : channel(channel), classInfo(classInfo), status(ReadHeader()) {
    if (status != NoError) {
        version = ClassVersion();
        dataLength = 0;
        return;
    }
    outer = channel.frame;
    channel.frame = this;
}

MuErrCode InputFrame::ReadHeader() {
    if (IsNull(channel) || channel.GetReadLimit() < FrameMark::Size)
        return Error;
    FrameMark header;
    unsigned int read = 0;
    MuErrCode const readStatus = channel.ReadBin(header.GetChars(), FrameMark::Size, &read);
    if (readStatus != NoError)
        return read > 0 ? IChannel::ConvertObjectReadError(readStatus) : readStatus;
    unsigned long long position = 0;
    if (!header.IsHeaderOf(classInfo) || channel.GetInputPosition(&position) != NoError)
        return Error;
    version = ClassVersion(header.bytes[8], header.bytes[9]);
    if (header.IsOpen()) {
        tag = header.GetNumber(12);
        return TakeEmptyTrailer();
    }
    dataLength = header.GetNumber(12);
    end = position + dataLength;
    return dataLength == OpenLength || dataLength > channel.GetReadLimit() ? Error : NoError;
}

// An empty frame must be recognised at once. Every open frame has a trailer, so there must be 16
// bytes.
MuErrCode InputFrame::TakeEmptyTrailer() {
    dataLength = OpenLength;
    FrameMark next;
    if (channel.GetReadLimit() < FrameMark::Size ||
        channel.CopyBin(next.GetChars(), FrameMark::Size, nullptr) != NoError)
        return Error;
    if (next != TrailerOf(classInfo, version, tag))
        return NoError;
    dataLength = 0;
    static_cast<void>(channel.Skip(FrameMark::Size, nullptr));
    return channel.GetInputPosition(&end);
}

InputFrame::~InputFrame() {
    if (status != NoError)
        return;
    Quietly([this] {
        if (dataLength == OpenLength)
            SkipToTrailer();
        else if (unsigned long long const rest = GetRest(); rest > 0)
            static_cast<void>(channel.Skip(rest, nullptr));
    });
    channel.frame = outer;
}

// A window of 16 bytes advances byte by byte. If the reader has read all fields, the first one is
// the trailer.
void InputFrame::SkipToTrailer() const {
    FrameMark const trailer = TrailerOf(classInfo, version, tag);
    unsigned long long left = GetRest();
    FrameMark window;
    if (left < FrameMark::Size ||
        channel.ReadBin(window.GetChars(), FrameMark::Size, nullptr) != NoError)
        return;
    for (left -= FrameMark::Size; window != trailer && left > 0; --left) {
        std::memmove(window.bytes, window.bytes + 1, FrameMark::Size - 1);
        if (channel.ReadBin(window.GetChars() + FrameMark::Size - 1, 1, nullptr) != NoError)
            return;
    }
}

unsigned long long InputFrame::GetRest() const {
    unsigned long long position = 0;
    if (status != NoError)
        return 0;
    if (dataLength == OpenLength)
        return outer == nullptr ? ~0ull : outer->GetRest();
    if (channel.GetInputPosition(&position) != NoError)
        return 0;
    return position < end ? end - position : 0;
}

} // namespace Mu
