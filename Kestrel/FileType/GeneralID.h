#pragma once

#include <Kestrel/Root/Export.h>

#include <compare>

namespace FTM {

/// A small number that identifies a file type or a group of types.
///
/// Types and groups share one number space: a negative value is a group, zero or a positive one a
/// type. Identifiers are valid in one process only, and a number may be reused once its record was
/// removed; to store one, use FileTypeManager::WriteID or the MIME name.
///
/// Memory:  none.
/// Threads: a plain value.
/// Failure: none.
class KESTREL_API GeneralID {
public:
    constexpr explicit GeneralID(int number = 0) : value(number) {}

    constexpr bool IsGroup() const { return value < 0; }

    /// Uses the raw value, whatever its kind.
    void Load(unsigned int raw) { value = static_cast<int>(raw); }
    void Store(unsigned int & raw) const { raw = static_cast<unsigned int>(value); }

    /// By the signed value, which sorts all groups before all types.
    friend constexpr bool operator==(GeneralID const &, GeneralID const &) = default;
    friend constexpr std::strong_ordering operator<=>(GeneralID const &,
                                                      GeneralID const &) = default;

private:
    int value;
};

/// The identifier of a file type.
class KESTREL_API TypeID : public GeneralID {
public:
    /// UnknownType.
    constexpr TypeID() : GeneralID(0) {}
    /// UnknownType for a group.
    constexpr TypeID(GeneralID const & id) : GeneralID(id.IsGroup() ? GeneralID(0) : id) {}

    /// Allocates the next free number; UnknownType if there is none left. Not synchronised: the
    /// manager calls it under its lock.
    static TypeID NextID();

private:
    friend struct IdentifierCounters;
    static constexpr unsigned int First = 1;
    static constexpr unsigned int Last = 0x7FFFFFFE;
    static unsigned int nextID;
};

/// The identifier of a group of file types.
class KESTREL_API GroupID : public GeneralID {
public:
    /// UnknownGroup.
    constexpr GroupID() : GeneralID(-1) {}
    /// RootGroup, whatever the text.
    constexpr GroupID(char const *) : GeneralID(static_cast<int>(0x80000000u)) {}
    /// UnknownGroup for a type.
    constexpr GroupID(GeneralID const & id) : GeneralID(id.IsGroup() ? id : GeneralID(-1)) {}

    /// Allocates the next free number; UnknownGroup if there is none left. Not synchronised: the
    /// manager calls it under its lock.
    static GroupID NextID();

private:
    friend struct IdentifierCounters;
    static constexpr unsigned int First = 0x80000002; // 0x80000001 is unused
    static constexpr unsigned int Last = 0xFFFFFFFD;
    static unsigned int nextID;
};

KESTREL_API extern TypeID const UnknownType;
KESTREL_API extern GroupID const UnknownGroup;
/// Contains every type and every group, and has no record of its own.
KESTREL_API extern GroupID const RootGroup;

// The built-in groups and types: UnknownGroup and UnknownType until LoadFTMDefaults sets them,
// which must not run while other threads read them.
KESTREL_API extern GroupID & ImageGroup;
KESTREL_API extern GroupID & DocumentGroup;
KESTREL_API extern TypeID & TextFileType;
KESTREL_API extern TypeID & TIFFFileType;
KESTREL_API extern TypeID & JPEGFileType;
KESTREL_API extern TypeID & BMPFileType;
KESTREL_API extern TypeID & EMFFileType;
KESTREL_API extern TypeID & WMFFileType;
KESTREL_API extern TypeID & HTMFileType;
KESTREL_API extern TypeID & PDFFileType;
// Not set by the library: for programs that register these types themselves.
KESTREL_API extern TypeID & GIFFileType;
KESTREL_API extern TypeID & EXEFileType;

} // namespace FTM
