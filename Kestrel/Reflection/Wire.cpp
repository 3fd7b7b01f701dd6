#include <Kestrel/Reflection/Internal/Wire.h>

#include <Kestrel/Reflection/ReflectionStreams.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace IO {

namespace {

constexpr unsigned char LongMark = 255; // followed by the long length

template <unsigned int Size>
unsigned long long GetNumber(char const * at) {
    unsigned long long number = 0;
    for (unsigned int i = Size; i > 0; --i)
        number = number << 8 | static_cast<unsigned char>(at[i - 1]);
    return number;
}

template <unsigned int Size>
unsigned long long ReadNumber(Mu::IBinaryChannel & channel) {
    char bytes[Size];
    channel.Read(bytes, Size, Mu::ReadAll);
    return GetNumber<Size>(bytes);
}

template <unsigned int Size>
void PutNumber(char * at, unsigned long long number) {
    for (unsigned int i = 0; i < Size; ++i)
        at[i] = static_cast<char>(number >> 8 * i);
}

template <unsigned int Size>
void WriteNumber(AnswerBlock & answer, unsigned long long number) {
    PutNumber<Size>(answer.Take(Size), number);
}

[[noreturn]] void ThrowTooLong() {
    throw Mu::UniString("Text is too long");
}

unsigned int ReadLength(Mu::IBinaryChannel & channel, unsigned int limit) {
    unsigned long long length = ReadNumber<1>(channel);
    if (length == LongMark)
        length = ReadNumber<4>(channel);
    if (length > limit)
        ThrowTooLong();
    return static_cast<unsigned int>(length);
}

// A byte for each unit, four at a time while there are so many. False: there are other characters,
// which need a conversion.
bool NarrowAscii(Mu::UniString const & text, char * bytes) {
    unsigned short const * units = text.GetUnits();
    unsigned short const * const end = units + text.GetLength();
    unsigned long long all = 0;
    for (; end - units >= 4; units += 4, bytes += 4) {
        unsigned long long four;
        std::memcpy(&four, units, sizeof four);
        all |= four;
        if constexpr (std::endian::native == std::endian::little) {
            four = (four | four >> 8) & 0x0000FFFF0000FFFFull;
            unsigned int const narrow = static_cast<unsigned int>(four | four >> 16);
            std::memcpy(bytes, &narrow, sizeof narrow);
        } else
            std::copy_n(units, 4, bytes);
    }
    for (; units != end; ++units, ++bytes) {
        all |= *units;
        *bytes = static_cast<char>(*units);
    }
    return (all & 0xFF80FF80FF80FF80ull) == 0;
}

} // namespace

unsigned int BlockIChannel::Read(char * destination, unsigned int count) {
    unsigned int const part = std::min(count, left);
    BNCopyMemory(at, destination, part);
    at += part;
    left -= part;
    return part;
}

bool BlockIChannel::TakeNumber(unsigned int * number) {
    if (left < 4)
        return false;
    *number = static_cast<unsigned int>(GetNumber<4>(at));
    at += 4;
    left -= 4;
    return true;
}

bool BlockIChannel::TakeText(std::string_view * text) {
    unsigned int head = 1;
    unsigned int length = left == 0 ? 0 : static_cast<unsigned char>(at[0]);
    if (length == LongMark && left >= 5) {
        head = 5;
        length = static_cast<unsigned int>(GetNumber<4>(at + 1));
    }
    if (left < head || length > left - head)
        return false;
    *text = std::string_view(at + head, length);
    at += head + length;
    left -= head + length;
    return true;
}

AnswerBlock::~AnswerBlock() {
    Mu::DeleteArrayOperator(block);
}

char * AnswerBlock::Take(unsigned int count) {
    if (count > capacity - size)
        Grow(count);
    char * const taken = block + size;
    size += count;
    return taken;
}

void AnswerBlock::Grow(unsigned int count) {
    constexpr unsigned int FirstCapacity = 1024;
    if (count > limit - size)
        Mu::ThrowOutOfMemory();
    unsigned long long const wanted = std::max<unsigned long long>(
        {FirstCapacity, 2ull * capacity, static_cast<unsigned long long>(size) + count});
    unsigned int const room =
        static_cast<unsigned int>(std::min<unsigned long long>(wanted, limit));
    void * const grown = Mu::ReallocateOperator(block, room);
    if (grown == nullptr)
        Mu::ThrowOutOfMemory();
    block = static_cast<char *>(grown);
    capacity = room;
}

void AnswerBlock::Write(char const * source, unsigned int count) {
    BNCopyMemory(source, Take(count), count);
}

void AnswerBlock::AppendTo(AnswerBlock & other) const {
    IO::Write(other, size);
    other.Write(block, size);
}

void AnswerBlock::CopyTo(Mu::OBinaryChannel & output) const {
    output.Write(block, size);
}

void AnswerBlock::Send(Mu::OBinaryChannel & output, bool withSize) {
    if (withSize)
        PutNumber<4>(block, size - 4);
    CopyTo(output);
    output.Flush();
}

void AnswerBlock::Empty(unsigned int kept) {
    size = 0;
    if (capacity > kept) {
        Mu::DeleteArrayOperator(std::exchange(block, nullptr));
        capacity = 0;
    }
}

ArrivedBlock::~ArrivedBlock() {
    Mu::DeleteArrayOperator(block);
}

bool ArrivedBlock::ReadFrom(Mu::IBinaryChannel & channel, unsigned int count) {
    constexpr unsigned int FirstPiece = 65536;
    for (size = 0; size < count;) {
        unsigned int const piece =
            std::min(count - size, std::max({FirstPiece, size, capacity - size}));
        if (piece > capacity - size) {
            void * const grown = Mu::ReallocateOperator(block, size + piece);
            if (grown == nullptr)
                return false;
            block = static_cast<char *>(grown);
            capacity = size + piece;
        }
        channel.Read(block + size, piece, Mu::ReadAll);
        size += piece;
    }
    return true;
}

void ArrivedBlock::Trim(unsigned int kept) {
    if (capacity > kept) {
        Mu::DeleteArrayOperator(std::exchange(block, nullptr));
        capacity = 0;
    }
}

void ReadText(BlockIChannel & channel, Mu::UniString * text) {
    std::string_view bytes;
    if (!channel.TakeText(&bytes))
        ThrowTooLong();
    text->Assign(bytes.data(), static_cast<unsigned int>(bytes.size()));
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

void WriteValue(AnswerBlock & answer, Reflectable::AttributeValue const & value) {
    using Value = Reflectable::AttributeValue;
    WriteNumber<1>(answer, static_cast<unsigned long long>(value.tag));
    unsigned long long bits;
    std::memcpy(&bits, &value.value, sizeof bits);
    switch (value.tag) {
    case Value::IntegerTag:
    case Value::UnsignedIntegerTag:
    case Value::RealTag:
    case Value::PointerTag: WriteNumber<8>(answer, bits); break;
    case Value::BooleanTag: WriteNumber<1>(answer, value.value.boolean); break;
    case Value::StringTag: Write(answer, value.string); break;
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
        value->value.unsignedInteger = bits; // the bytes of the actual kind
    value->tag = tag;
}

void Write(AnswerBlock & answer, unsigned int number) {
    WriteNumber<4>(answer, number);
}

void Write(AnswerBlock & answer, Mu::UniString const & text) {
    unsigned int const length = text.GetLength();
    if (length < LongMark) {
        WriteNumber<1>(answer, length);
    } else {
        WriteNumber<1>(answer, LongMark);
        WriteNumber<4>(answer, length);
    }
    char * const bytes = answer.Take(length);
    if (NarrowAscii(text, bytes))
        return;
    Mu::CStr const narrow = text.ToCStr();
    unsigned int const held = std::min(length, narrow.GetLength());
    std::copy_n(narrow.GetText(), held, bytes);
    std::fill_n(bytes + held, length - held, '\0');
}

// The public functions.

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
    char bytes[4];
    PutNumber<4>(bytes, number);
    channel.Write(bytes, sizeof bytes);
}

void Write(Mu::OBinaryChannel & channel, Mu::UniString const & text) {
    AnswerBlock bytes;
    Write(bytes, text);
    bytes.CopyTo(channel);
}

void Write(Mu::OBinaryChannel & channel, char const * source, unsigned int count) {
    channel.Write(source, count);
}

} // namespace IO
