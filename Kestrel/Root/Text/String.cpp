#include <Kestrel/Root/Text/String.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Internal/CharCodeConversion.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

#include <algorithm>
#include <cstring>
#include <ostream>

namespace Mu {

// Hosts built without optimisation take the addresses.
constexpr unsigned int String::MaxLength;

using Internal::GetNarrowLength;

char const String::noText[1] = {0};

String::String(char const * other) : String(other, GetNarrowLength(other)) {}

String::String(char const * other, unsigned int size) : String() {
    Append(other, size);
}

String::String(String const & other) : String(other.text, other.length) {}

String::~String() {
    if (capacity != 0)
        DeleteOperator(text);
}

ClassInfo const & String::GetClassInfoStatic() {
    static ClassInfo const info("Mu::String", ClassVersion(1, 0));
    return info;
}

ClassInfo const & String::GetClassInfo() const {
    return GetClassInfoStatic();
}

String * String::Clone() const {
    return new String(*this);
}

String & String::operator=(String const & other) {
    Assign(other.text, other.length);
    return *this;
}

String & String::operator=(String && other) noexcept {
    Swap(other);
    return *this;
}

String & String::operator=(char const * other) {
    Assign(other, GetNarrowLength(other));
    return *this;
}

void String::Assign(char const * other, unsigned int size) {
    String fresh(other, size);
    Swap(fresh);
}

void String::Swap(String & other) noexcept {
    std::swap(text, other.text);
    std::swap(length, other.length);
    std::swap(capacity, other.capacity);
}

void String::Append(char const * other) {
    Append(other, GetNarrowLength(other));
}

// The bytes may be part of the block that grows, so they are located again by their offset.
void String::Append(char const * other, unsigned int size) {
    if (other == nullptr || size == 0)
        return;
    if (size > MaxLength - length)
        ThrowOutOfMemory();
    std::less_equal<char const *> const isUpTo;
    bool const isOwn = capacity != 0 && isUpTo(text, other) && isUpTo(other, text + length);
    std::size_t const place = isOwn ? static_cast<std::size_t>(other - text) : 0;
    Grow(length + size);
    std::memmove(text + length, isOwn ? text + place : other, size);
    Terminate(length + size);
}

void String::SetLength(unsigned int newLength) {
    if (newLength > length) {
        Grow(newLength);
        std::memset(text + length, 0, newLength - length);
    }
    Terminate(newLength);
}

void String::SetCapacity(unsigned int newCapacity) {
    newCapacity = std::max(newCapacity, length);
    if (newCapacity == 0)
        Clear();
    else if (newCapacity != capacity)
        Reallocate(newCapacity);
}

void String::Clear() noexcept {
    String empty;
    Swap(empty);
}

void String::Terminate(unsigned int newLength) noexcept {
    length = newLength;
    if (capacity != 0)
        text[length] = 0;
}

void String::Grow(unsigned int minimum) {
    if (minimum > capacity)
        Reallocate(std::max(minimum, std::min(capacity + capacity / 2, MaxLength)));
}

void String::Reallocate(unsigned int newCapacity) {
    if (newCapacity > MaxLength)
        ThrowOutOfMemory();
    void * const block =
        ReallocateOperator(capacity == 0 ? nullptr : text, std::size_t(newCapacity) + 1);
    if (block == nullptr)
        ThrowOutOfMemory();
    text = static_cast<char *>(block);
    capacity = newCapacity;
    text[length] = 0;
}

MuErrCode String::Read(IChannel & channel) {
    if (IsNull(channel))
        return Error;
    Clear();
    unsigned int count = 0;
    MuErrCode status = channel.Read(count);
    if (status != NoError)
        return status;
    try {
        status = ReadBytes(channel, count);
    } catch (OutOfMemoryException const &) {
        status = ErrMemoryFull;
    }
    if (status != NoError)
        Clear();
    return status;
}

// The count comes from outside and allocates nothing by itself: the text grows as its bytes arrive.
MuErrCode String::ReadBytes(IChannel & channel, unsigned int count) {
    char bytes[1024];
    while (count > 0) {
        unsigned int const piece = std::min(count, static_cast<unsigned int>(sizeof(bytes)));
        MuErrCode const status = channel.ReadBin(bytes, piece, nullptr);
        if (status != NoError)
            return IChannel::ConvertObjectReadError(status);
        Append(bytes, piece);
        count -= piece;
    }
    return NoError;
}

MuErrCode String::Write(OChannel & channel) const {
    if (IsNull(channel))
        return Error;
    MuErrCode const status = channel.Write(length);
    return status == NoError && length > 0 ? channel.WriteBin(text, length, nullptr) : status;
}

void String::Print(OChannel & channel) const {
    if (!IsNull(channel))
        channel << text;
}

MuErrCode String::CheckState() const {
    return length <= capacity && text[length] == 0 ? NoError : Error;
}

unsigned int String::GenerateHashValue() const {
    unsigned int hash = length;
    for (char const c : *this)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x9E3779B1u;
    hash = (hash ^ hash >> 16) * 0x85EBCA6Bu;
    return hash ^ hash >> 13;
}

bool operator==(String const & a, String const & b) {
    return std::string_view(a) == std::string_view(b);
}

bool operator==(String const & a, char const * b) {
    return b != nullptr && std::string_view(a) == std::string_view(b);
}

bool operator<(String const & a, String const & b) {
    return std::string_view(a) < std::string_view(b);
}

std::ostream & operator<<(std::ostream & stream, String const & text) {
    return stream << std::string_view(text);
}

} // namespace Mu
