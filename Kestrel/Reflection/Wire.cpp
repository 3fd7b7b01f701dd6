#include <Kestrel/Reflection/Internal/Wire.h>

#include <Kestrel/Reflection/ReflectionStreams.h>
#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/Memory.h>

#include <algorithm>
#include <cstring>

namespace IO {

namespace {

constexpr unsigned char LongMark = 255; // the long length follows

template <unsigned int Size>
unsigned long long ReadNumber(Mu::IBinaryChannel & channel) {
    unsigned char bytes[Size];
    channel.Read(reinterpret_cast<char *>(bytes), Size, Mu::ReadAll);
    unsigned long long number = 0;
    for (unsigned int i = Size; i > 0; --i)
        number = number << 8 | bytes[i - 1];
    return number;
}

template <unsigned int Size>
void WriteNumber(Mu::OBinaryChannel & channel, unsigned long long number) {
    char bytes[Size];
    for (unsigned int i = 0; i < Size; ++i)
        bytes[i] = static_cast<char>(number >> 8 * i);
    channel.Write(bytes, Size);
}

unsigned int ReadLength(Mu::IBinaryChannel & channel, unsigned int limit) {
    unsigned long long length = ReadNumber<1>(channel);
    if (length == LongMark)
        length = ReadNumber<4>(channel);
    if (length > limit)
        throw Mu::UniString("Text is too long");
    return static_cast<unsigned int>(length);
}

} // namespace

unsigned int BlockIChannel::Read(char * destination, unsigned int count) {
    unsigned int const part = std::min(count, left);
    BNCopyMemory(at, destination, part);
    at += part;
    left -= part;
    return part;
}

void AnswerBlock::Write(char const * source, unsigned int count) {
    if (bytes.WriteBin(source, count, nullptr) != NoError)
        Mu::ThrowOutOfMemory();
}

char * AnswerBlock::GetBlock() {
    char * const block = bytes.GetDestination(MemoryOChannel::LeaveWithCaller);
    if (block == nullptr)
        Mu::ThrowOutOfMemory();
    return block;
}

void AnswerBlock::AppendTo(AnswerBlock & other) {
    char const * const block = GetBlock();
    IO::Write(other, bytes.GetDataSize());
    other.Write(block, bytes.GetDataSize());
}

void AnswerBlock::Send(Mu::OBinaryChannel & output, bool withSize) {
    char * const block = GetBlock();
    unsigned int const size = bytes.GetDataSize();
    for (unsigned int i = 0; withSize && i < 4; ++i)
        block[i] = static_cast<char>((size - 4) >> 8 * i);
    output.Write(block, size);
    output.Flush();
}

ArrivedBlock::~ArrivedBlock() {
    Mu::DeleteArrayOperator(block);
}

bool ArrivedBlock::ReadFrom(Mu::IBinaryChannel & channel, unsigned int count) {
    constexpr unsigned int FirstPiece = 65536;
    for (size = 0; size < count;) {
        unsigned int const piece = std::min(count - size, std::max(FirstPiece, size));
        void * const grown = Mu::ReallocateOperator(block, size + piece);
        if (grown == nullptr)
            return false;
        block = static_cast<char *>(grown);
        channel.Read(block + size, piece, Mu::ReadAll);
        size += piece;
    }
    return true;
}

void ReadText(Mu::IBinaryChannel & channel, Mu::UniString * text, unsigned int limit) {
    unsigned int const length = ReadLength(channel, limit);
    char room[256];
    if (length <= sizeof room) {
        channel.Read(room, length, Mu::ReadAll);
        text->Assign(room, length);
        return;
    }
    ArrivedBlock bytes;
    if (!bytes.ReadFrom(channel, length))
        Mu::ThrowOutOfMemory();
    text->Assign(bytes.GetBytes(), length);
}

void WriteValue(Mu::OBinaryChannel & channel, Reflectable::AttributeValue const & value) {
    using Value = Reflectable::AttributeValue;
    WriteNumber<1>(channel, static_cast<unsigned long long>(value.tag));
    unsigned long long bits;
    std::memcpy(&bits, &value.value, sizeof bits);
    switch (value.tag) {
    case Value::IntegerTag:
    case Value::UnsignedIntegerTag:
    case Value::RealTag:
    case Value::PointerTag: WriteNumber<8>(channel, bits); break;
    case Value::BooleanTag: WriteNumber<1>(channel, value.value.boolean); break;
    case Value::StringTag: Write(channel, value.string); break;
    case Value::NoValueTag: break;
    default: throw Mu::UniString("Unknown reflection type");
    }
}

void ReadValue(Mu::IBinaryChannel & channel, Reflectable::AttributeValue * value,
               unsigned int limit) {
    using Value = Reflectable::AttributeValue;
    *value = Value();
    int const tag = static_cast<int>(ReadNumber<1>(channel));
    unsigned long long bits = 0;
    switch (tag) {
    case Value::IntegerTag:
    case Value::UnsignedIntegerTag:
    case Value::RealTag:
    case Value::PointerTag: bits = ReadNumber<8>(channel); break;
    case Value::BooleanTag: bits = ReadNumber<1>(channel) != 0; break;
    case Value::StringTag: ReadText(channel, &value->string, limit); break;
    case Value::NoValueTag: break;
    default: throw Mu::UniString("Unknown reflection type");
    }
    if (tag == Value::BooleanTag)
        value->value.boolean = bits != 0;
    else
        value->value.unsignedInteger = bits; // the bytes of whichever it is
    value->tag = tag;
}

// The public ones.

void Read(Mu::IBinaryChannel & channel, unsigned int * number) {
    *number = static_cast<unsigned int>(ReadNumber<4>(channel));
}

void Read(Mu::IBinaryChannel & channel, Mu::UniString * text) {
    ReadText(channel, text, Mu::UniString::MaxLength);
}

unsigned int Read(Mu::IBinaryChannel & channel, char * destination, unsigned int count) {
    return Mu::IBinaryChannelUtilities::ReadFully(channel, destination, count);
}

void Write(Mu::OBinaryChannel & channel, unsigned int number) {
    WriteNumber<4>(channel, number);
}

void Write(Mu::OBinaryChannel & channel, Mu::UniString const & text) {
    unsigned int const length = text.GetLength();
    if (length < LongMark) {
        WriteNumber<1>(channel, length);
    } else {
        WriteNumber<1>(channel, LongMark);
        WriteNumber<4>(channel, length);
    }
    if (length == 0)
        return;
    Mu::CStr const narrow = text.ToCStr();
    unsigned int const held = std::min(length, narrow.GetLength());
    channel.Write(narrow.GetText(), held);
    for (unsigned int i = held; i < length; ++i)
        WriteNumber<1>(channel, 0);
}

void Write(Mu::OBinaryChannel & channel, char const * source, unsigned int count) {
    channel.Write(source, count);
}

} // namespace IO
