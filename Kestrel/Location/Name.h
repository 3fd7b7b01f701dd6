#pragma once

#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Text/UniString.h>

#include <functional>
#include <iosfwd>
#include <string_view>

namespace IO {

/// One component of a path: the name of a file, a folder, a drive or a machine, without separators.
///
/// A name can be any text: IsLegal checks where it may be used, and the running platform decides
/// which spellings mean the same entry (see NameComparer). So == and < are different relations: ==
/// may ignore case, < never does. Equal names are not necessarily adjacent in a sorted list.
///
/// Memory:  that of its Mu::UniString. Mu::OutOfMemoryException on shortage, except from Read,
///          which returns ErrMemoryFull.
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

    /// Reads the current form and the two older ones, which contain bytes instead of UTF-16.
    /// Allocates in proportion to the bytes that arrive, whatever length is stored. After a failure
    /// the name is empty.
    MuErrCode Read(Mu::IChannel & channel) override;
    /// Writes an older form if a frame of that version is requested.
    MuErrCode Write(Mu::OChannel & channel) const override;
    /// Writes the plain text, in the character code of logs.
    void Print(Mu::OChannel & channel) const override;

    void Append(Mu::UniString const & text);
    void Append(unsigned short const * text);
    void Append(char16_t const * text);
    /// The text is in the default character code.
    void Append(char const * text);

    /// Empties the name and frees its memory; ClearContent keeps the memory.
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

    // The last "." separates base and extension, wherever it is: ".profile" is an empty base and
    // the extension "profile", and "a." has an empty extension.

    /// The whole text if it has no ".".
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

    /// Whether this is a legal name on the running platform.
    bool IsLegal() const;
    /// Whether it is legal on every known platform.
    bool IsMultiplatform() const;

    /// Equal for names that differ only in case.
    unsigned int GenerateHashValue() const;

private:
    friend class Address; // reads names from the tree directly into the text

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
