#pragma once

#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Text/UniString.h>

#include <functional>
#include <iosfwd>
#include <string_view>

namespace IO {

/// One component of a path: the name of a file, a folder, a drive or a machine, without separators.
///
/// A name takes any text and has no rule of its own: what may be used where is decided by IsLegal,
/// and which spellings mean the same entry by the running platform (see NameComparer). So == and <
/// are two different relations: == may overlook the case, < never does. Do not sort and then look
/// for neighbours that are ==.
///
/// Memory:  that of its Mu::UniString. A shortage is thrown as Mu::OutOfMemoryException, except by
///          Read, which returns ErrMemoryFull.
/// Threads: a plain value; one writer, or any number of readers.
/// Failure: Read and Write return statuses; the rest cannot fail.
class KESTREL_API Name : public Mu::Object {
public:
    Name();
    Name(Mu::UniString const & text);
    Name(Mu::UniString && text) noexcept;
    /// The text is in the default character code.
    Name(char const * text);
    Name(char16_t const * text);
    explicit Name(std::u16string_view text);
    /// From a text of the standard library, whose bytes are UTF-8.
    template <Mu::ForeignText Text>
    Name(Text const & other) : Name(Mu::UniString(other)) {}
    Name(Name const & other);
    Name(Name && other) noexcept;

    Name & operator=(Mu::UniString const & text);
    Name & operator=(Mu::UniString && text) noexcept;
    Name & operator=(char const * text);
    Name & operator=(char16_t const * text);
    Name & operator=(Name const & other);
    Name & operator=(Name && other) noexcept;

    static Mu::ClassInfo const & GetClassInfoStatic();

    Mu::ClassInfo const & GetClassInfo() const override;
    ~Name() override;

    /// Understands the present form and the two older ones, which hold bytes instead of UTF-16. No
    /// length in the input makes it take more memory than bytes arrive. After a failure the name is
    /// empty.
    MuErrCode Read(Mu::IChannel & channel) override;
    /// Writes an older form when a frame of the older version is asked for.
    MuErrCode Write(Mu::OChannel & channel) const override;
    /// The plain text, in the character code of logs.
    void Print(Mu::OChannel & channel) const override;

    void Append(Mu::UniString const & text);
    void Append(unsigned short const * text);
    void Append(char16_t const * text);
    /// The text is in the default character code.
    void Append(char const * text);

    /// Empties the name and gives its memory back; ClearContent keeps the memory.
    void Clear();
    void ClearContent();

    /// Not checked: the index must be below the length.
    unsigned short operator[](unsigned int index) const;

    unsigned int GetLength() const;
    bool IsEmpty() const;
    void SetCapacity(unsigned int capacity);
    unsigned int GetCapacity() const;

    Mu::UniString const & ToString() const { return text; }
    operator Mu::UniString const &() const { return text; }
    /// In UTF-8.
    template <std::same_as<std::string> Utf8>
    explicit operator Utf8() const {
        return Mu::ToUtf8(text);
    }

    // The last "." parts base from extension, wherever it stands: ".profile" is an empty base and
    // the extension "profile", and "a." has an extension, which is empty.

    /// All of the text when it has no ".".
    Mu::UniString GetBase() const;
    Mu::UniString GetExtension() const;
    bool HasExtension() const;
    /// Appends "." and the extension, even an empty one.
    void AppendExtension(Mu::UniString const & extension);
    void AppendExtension(char const * extension);
    void DeleteExtension();

    /// By UTF-16 code units, so "ABC" comes before "abc" even where the two are ==.
    bool operator<(Name const & other) const;

    // Kept: a null argument is neither equal nor unequal, so that both return false for it.

    bool operator==(Name const & other) const;
    bool operator==(Mu::UniString const & other) const;
    bool operator==(char const * other) const;
    bool operator==(char16_t const * other) const;
    bool operator==(std::u16string_view other) const;
    bool operator!=(Name const & other) const;
    bool operator!=(Mu::UniString const & other) const;
    bool operator!=(char const * other) const;
    bool operator!=(char16_t const * other) const;
    bool operator!=(std::u16string_view other) const;

    /// Whether the running platform takes this as a name.
    bool IsLegal() const;
    /// Whether every platform that the library knows does.
    bool IsMultiplatform() const;

    /// The same for names that differ in case only.
    unsigned int GenerateHashValue() const;

private:
    friend class Address; // reads names out of the tree straight into the text

    Mu::UniString text;
};

/// The text in UTF-8.
inline std::ostream & operator<<(std::ostream & stream, Name const & name) {
    return stream << name.ToString();
}

} // namespace IO

template <>
struct std::hash<IO::Name> {
    std::size_t operator()(IO::Name const & name) const { return name.GenerateHashValue(); }
};
