#pragma once

#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Types.h>

#include <functional>
#include <iosfwd>
#include <string_view>
#include <utility>

namespace Mu {

/// A growable text of bytes, for service names, commands, host names and hash keys: texts that
/// travel as they are and are never converted. For text that people read, use UniString. A null
/// pointer is the empty text, but equals nothing.
///
/// Memory:  one block of the root, which grows by half; an empty text has none.
/// Threads: any number may read, one may change.
/// Failure: Mu::OutOfMemoryException on shortage; the text is then as it was. Read and Write return
///          statuses.
class KESTREL_API String : public Object {
public:
    static constexpr unsigned int MaxLength = 0x7FFFFFFF;

    String() noexcept : text(NoText()) {}
    String(char const * text);
    String(char const * text, unsigned int length);
    String(String const & other);
    String(String && other) noexcept : text(NoText()) { Swap(other); }

    ClassInfo const & GetClassInfo() const override;
    String * Clone() const override;
    ~String() override;
    /// A truncated text yields the status of a broken object, and an empty text.
    MuErrCode Read(IChannel & channel) override;
    /// The number of bytes, then the bytes.
    MuErrCode Write(OChannel & channel) const override;
    /// The bytes as they are.
    void Print(OChannel & channel) const override;
    MuErrCode CheckState() const override;

    static ClassInfo const & GetClassInfoStatic();

    String & operator=(String const & other);
    String & operator=(String && other) noexcept;
    String & operator=(char const * text);
    void Assign(char const * text, unsigned int length);
    void Swap(String & other) noexcept;

    void Append(char const * text);
    /// `text` may be a part of this one.
    void Append(char const * text, unsigned int length);
    /// Cuts, or fills at the end with zero bytes for the caller to write over.
    void SetLength(unsigned int length);
    /// Room for `capacity` bytes, or for the text when it is longer; memory beyond that is freed.
    void SetCapacity(unsigned int capacity);
    /// Empty, and the memory is freed.
    void Clear() noexcept;

    unsigned int GetLength() const { return length; }
    bool IsEmpty() const { return length == 0; }
    unsigned int GetCapacity() const { return capacity; }
    /// Zero-terminated, and the string's own.
    char const * ToCStr() const { return text; }
    char & operator[](unsigned int index) { return text[index]; }
    char operator[](unsigned int index) const { return text[index]; }
    char const * begin() const { return text; }
    char const * end() const { return text + length; }
    operator std::string_view() const { return {text, length}; }

    /// The same on every platform and in every release.
    unsigned int GenerateHashValue() const;

private:
    static char * NoText() noexcept { return const_cast<char *>(noText); }
    void Terminate(unsigned int newLength) noexcept;
    void Grow(unsigned int minimum);
    MuErrCode ReadBytes(IChannel & channel, unsigned int count);
    void Reallocate(unsigned int newCapacity);

    static char const noText[1]; // not in line, where it would pin a host's modules

    char * text;               // `noText`, never written, while the capacity is 0
    unsigned int length = 0;   // <= capacity; text[length] is 0
    unsigned int capacity = 0; // bytes of the block, without the one for the terminator
};

KESTREL_API bool operator==(String const & a, String const & b);
/// A null text equals nothing.
KESTREL_API bool operator==(String const & a, char const * b);
/// Byte by byte, as unsigned numbers.
KESTREL_API bool operator<(String const & a, String const & b);
KESTREL_API std::ostream & operator<<(std::ostream & stream, String const & text);

} // namespace Mu

template <>
struct std::hash<Mu::String> {
    std::size_t operator()(Mu::String const & text) const { return text.GenerateHashValue(); }
};
