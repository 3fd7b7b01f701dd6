#pragma once

#include <Kestrel/FileType/ContentTests.h>
#include <Kestrel/FileType/InlineText.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <span>
#include <string_view>

namespace Mu {
class UniString;
}

namespace FTM {

/// How a kind of file is recognised: its extensions, four-byte type codes, MIME names and a content
/// test, with what is shown for it.
///
///     FTM::FileType type("Drawing", "drw;draw", 0, 0, -1, IsDrawing, "image/x-drawing", true);
///     FTM::TypeID id = manager.AddType(type, FTM::RootGroup);
///
/// A plain value. FileTypeManager keeps copies; GetType copies one out. Texts are narrow, in the
/// machine's code. Four-byte codes are numbers with the first character in the highest byte: the
/// code TEXT is 0x54455854.
///
/// Memory:  the usual one short extension, code and MIME name lie inside; more of them take a block
///          of the root for each list.
/// Threads: a plain value; GetExtensionIDs with keys counts as a change.
/// Failure: what adds returns 0, ErrMemoryFull with nothing added, or Error for a piece of a list
///          that is longer than MaxPiece. What looks up returns -1, null or false. Nothing throws.
class KESTREL_API FileType : public Mu::Allocated {
public:
    /// Bytes by which the room for extensions grows.
    static constexpr unsigned int defExtAllocSize = 64;
    /// Bytes of the longest extension or MIME name in a list that ";" separates.
    static constexpr unsigned int MaxPiece = 255;

    /// Empty, with the icon 0.
    FileType() = default;
    /// A null text or a type code of 0 adds nothing. `lowerCase` is that of AddExtension. Empty after
    /// a failed allocation.
    explicit FileType(char const * description, char const * extensions = nullptr,
                      unsigned int macCreator = 0, unsigned int macType = 0, int iconID = -1,
                      ContentTest * callback = nullptr, char const * mime = nullptr,
                      bool lowerCase = true);
    /// Copies everything. After a failed allocation this one is empty.
    FileType(FileType const & other);
    FileType(FileType && other) noexcept;
    ~FileType();
    FileType & operator=(FileType const & other);
    FileType & operator=(FileType && other) noexcept;
    short Copy(FileType const & other);

    /// Adds the extensions in lower case, the type codes and the MIME names of `other`, and takes
    /// over its creator, icon, description and content test, each where it is set. An icon is set
    /// when it is neither 0 nor -1. After a failure a part of the lists may have been added.
    short Merge(FileType const & other);
    /// Removes each extension, type code and MIME name that `other` has.
    void Subtract(FileType const & other);

    // Extensions, without their ".". Comparisons respect case, so add them in lower case: files are
    // looked up by the lower case of their extension.

    /// Adds a list that ";" separates; empty pieces add nothing. Ends at the first failure.
    short AddExtension(char const * list, bool lowerCase);
    /// An extension that is there already, in the spelling given, is no failure.
    short AddSingleExtension(char const * extension, bool lowerCase);
    bool RemoveExtension(unsigned int index);
    bool RemoveExtension(char const * extension);
    bool IsExtensionIncluded(char const * extension) const;
    bool IsExtensionIncluded(Mu::UniString const & extension) const;
    int FindExtension(char const * extension) const;
    /// Owned by the type, valid until it is changed.
    char const * GetExtension(unsigned int index) const;
    int CountExtensions() const;
    /// All extensions, each with its terminating zero, one behind the other.
    char const * GetExtList() const { return extensionList.Get(); }
    /// The index keys of all extensions, and whether each is longer than 4 bytes; both may be null.
    /// Returns their number. With `keys`, all extensions are lower-cased in place, which the index
    /// needs, and so the object must be the caller's alone at that moment.
    int GetExtensionIDs(unsigned int * keys, bool * isLong) const;
    /// How many rows of the extension index the type needs.
    int ExtIndexCount() const;

    // MIME names, as the extensions but for the case, which stays.

    short AddMime(char const * list);
    short AddSingleMime(char const * mime);
    bool RemoveMime(unsigned int index);
    bool RemoveMime(char const * mime);
    bool IsMimeIncluded(char const * mime) const;
    int FindMime(char const * mime) const;
    char const * GetMime(unsigned int index) const;
    int CountMimeTypes() const;
    char const * GetMimeList() const { return mimeList.Get(); }

    // Four-byte type codes. 0 is none, and is not added.

    short AddMacType(unsigned int macType);
    bool RemoveMacType(unsigned int index);
    bool IsMacTypeIncluded(unsigned int macType) const;
    int FindMacType(unsigned int macType) const;
    /// 0 for an index out of range.
    unsigned int GetMacType(unsigned int index) const;
    int CountMacTypes() const { return macTypeCount; }
    unsigned int const * GetMacTypeList() const { return macTypeList.Get(); }

    unsigned int GetMacCreator() const { return macCreator; }
    int GetIconID() const { return iconID; }
    char const * GetDescription() const { return description.Get(); }
    /// Null when there is none.
    ContentTest * GetTypeCallback() const { return typeCallback; }

    /// The hidden flag: the type is not to be offered to people. See FileTypeManager::IsHideFileType.
    bool GetMode() const { return mode; }
    void SetMode(bool hidden) { mode = hidden; }

    /// Runs the content test; false when there is none.
    bool CheckTypeCallback(Mu::IChannel & channel, void * info) const;

private:
    friend class BulkAdding;

    /// What an empty one is filled with at once. Each text has a zero byte behind it, none is empty, and
    /// no two of a list are the same; extensions are in lower case.
    struct Contents {
        std::string_view description;
        std::span<std::string_view const> extensions;
        std::span<std::string_view const> names;
        ContentTest * test;
    };

    /// Items inside the object, or in a block once they have outgrown it.
    template <typename T, unsigned int n>
    struct Items {
        static constexpr unsigned int InlineCount = n;

        T const * Get() const { return heap == nullptr ? inlineItems : heap; }
        T * Get() { return heap == nullptr ? inlineItems : heap; }

        T * heap = nullptr;
        T inlineItems[n] = {};
    };

    /// False: no memory; the object may only be destroyed then.
    [[nodiscard]] bool Fill(Contents const & contents);
    void Clear();
    void Steal(FileType & other);

    unsigned int macCreator = 0;
    int iconID = 0;
    InlineText<32> description;
    mutable Items<char, 16> extensionList;
    unsigned int extensionListSize = 0;      // bytes used
    unsigned int extensionListAllocated = 0; // bytes of the block; 0 while there is none
    Items<unsigned int, 4> macTypeList;
    int macTypeCount = 0;
    Items<char, 32> mimeList;
    unsigned int mimeListSize = 0; // bytes used
    ContentTest * typeCallback = nullptr;
    bool mode = false;
};

} // namespace FTM
