#pragma once

#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Types.h>

#include <functional>
#include <iosfwd>
#include <string_view>
#include <utility>

namespace Mu {

/// A growable text of bytes, for service names, commands, host names and hash keys: texts that are
/// transferred unchanged and never converted. For text that users read, use UniString. A null
/// pointer counts as an empty text, but equals nothing.
///
/// Memory:  one block of the root, which grows by half; an empty text has none.
/// Threads: any number of readers, or one writer.
/// Failure: Mu::OutOfMemoryException on shortage; the text is unchanged then. Read and Write return
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
    /// A truncated text returns the status of a broken object, and leaves an empty text.
    MuErrCode Read(IChannel & channel) override;
    /// Writes the number of bytes, then the bytes.
    MuErrCode Write(OChannel & channel) const override;
    /// Writes only the bytes.
    void Print(OChannel & channel) const override;
    MuErrCode CheckState() const override;

    static ClassInfo const & GetClassInfoStatic();

    String & operator=(String const & other);
    String & operator=(String && other) noexcept;
    String & operator=(char const * text);
    void Assign(char const * text, unsigned int length);
    void Swap(String & other) noexcept;

    void Append(char const * text);
    /// `text` may be part of this one.
    void Append(char const * text, unsigned int length);
    /// Truncates, or appends zero bytes for the caller to overwrite.
    void SetLength(unsigned int length);
    /// Sets the capacity to `capacity` bytes, or to the length if that is larger; excess memory is
    /// freed.
    void SetCapacity(unsigned int capacity);
    /// Empties the text and frees the memory.
    void Clear() noexcept;

    unsigned int GetLength() const { return length; }
    bool IsEmpty() const { return length == 0; }
    unsigned int GetCapacity() const { return capacity; }
    /// Zero-terminated; owned by the string.
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

    static char const noText[1]; // not in line, where it would keep a host's modules loaded

    char * text;               // `noText`, which is never written, while the capacity is 0
    unsigned int length = 0;   // <= capacity; text[length] is 0
    unsigned int capacity = 0; // bytes of the block, without the one for the terminator
};

KESTREL_API bool operator==(String const & a, String const & b);
/// A null text equals nothing.
KESTREL_API bool operator==(String const & a, char const * b);
/// Compares byte by byte, as unsigned numbers.
KESTREL_API bool operator<(String const & a, String const & b);
KESTREL_API std::ostream & operator<<(std::ostream & stream, String const & text);

} // namespace Mu

template <>
struct std::hash<Mu::String> {
    std::size_t operator()(Mu::String const & text) const { return text.GenerateHashValue(); }
};
