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

/// How a type of file is identified: its extensions, four-byte type codes, MIME names and a content
/// test; and how it is shown.
///
///     FTM::FileType type("Drawing", "drw;draw", 0, 0, -1, IsDrawing, "image/x-drawing", true);
///     FTM::TypeID id = manager.AddType(type, FTM::RootGroup);
///
/// A plain value. FileTypeManager stores copies, and GetType returns one. Texts are narrow, in the
/// machine's character code. Four-byte codes are numbers with the first character in the highest
/// byte: the code TEXT is 0x54455854.
///
/// Memory:  a single short extension, code and MIME name are stored inline; longer lists take a
///          block of the root each.
/// Threads: a plain value; GetExtensionIDs with keys counts as a modification.
/// Failure: operations that add return 0, ErrMemoryFull with nothing added, or Error for a list
///          element that is longer than MaxPiece. Operations that search return -1, null or false.
///          Nothing is thrown.
class KESTREL_API FileType : public Mu::Allocated {
public:
    /// The increment, in bytes, of the memory for extensions.
    static constexpr unsigned int defExtAllocSize = 64;
    /// The maximum length in bytes of an extension or MIME name in a list separated by ";".
    static constexpr unsigned int MaxPiece = 255;

    /// Empty, with the icon 0.
    FileType() = default;
    /// A null text or a type code of 0 adds nothing. `lowerCase` is as for AddExtension. The object
    /// is empty after a failed allocation.
    explicit FileType(char const * description, char const * extensions = nullptr,
                      unsigned int macCreator = 0, unsigned int macType = 0, int iconID = -1,
                      ContentTest * callback = nullptr, char const * mime = nullptr,
                      bool lowerCase = true);
    /// Copies everything. After a failed allocation this object is empty.
    FileType(FileType const & other);
    FileType(FileType && other) noexcept;
    ~FileType();
    FileType & operator=(FileType const & other);
    FileType & operator=(FileType && other) noexcept;
    short Copy(FileType const & other);

    /// Adds the extensions in lower case, the type codes and the MIME names of `other`, and copies
    /// its creator, icon, description and content test if they are set. An icon is set if it is
    /// neither 0 nor -1. After a failure the lists may have been added in part.
    short Merge(FileType const & other);
    /// Removes all extensions, type codes and MIME names of `other`.
    void Subtract(FileType const & other);

    // Extensions, without the ".". Comparisons are case-sensitive, so add them in lower case: files
    // are looked up by the lower case of their extension.

    /// Adds a list separated by ";"; empty elements are ignored. Stops at the first failure.
    short AddExtension(char const * list, bool lowerCase);
    /// Adding an extension again, in the same spelling, is not a failure.
    short AddSingleExtension(char const * extension, bool lowerCase);
    bool RemoveExtension(unsigned int index);
    bool RemoveExtension(char const * extension);
    bool IsExtensionIncluded(char const * extension) const;
    bool IsExtensionIncluded(Mu::UniString const & extension) const;
    int FindExtension(char const * extension) const;
    /// Owned by the type, valid until it is modified.
    char const * GetExtension(unsigned int index) const;
    int CountExtensions() const;
    /// All extensions, each with its terminating zero, in one block.
    char const * GetExtList() const { return extensionList.Get(); }
    /// The index keys of all extensions, and whether each extension is longer than 4 bytes; both
    /// may be null. Returns their number. With `keys`, all extensions are converted to lower case
    /// in place, which the index needs; so no other thread may use the object then.
    int GetExtensionIDs(unsigned int * keys, bool * isLong) const;
    /// How many rows the type needs in the extension index.
    int ExtIndexCount() const;

    // MIME names, like the extensions, except that their case is preserved.

    short AddMime(char const * list);
    short AddSingleMime(char const * mime);
    bool RemoveMime(unsigned int index);
    bool RemoveMime(char const * mime);
    bool IsMimeIncluded(char const * mime) const;
    int FindMime(char const * mime) const;
    char const * GetMime(unsigned int index) const;
    int CountMimeTypes() const;
    char const * GetMimeList() const { return mimeList.Get(); }

    // Four-byte type codes. 0 means none, and is not added.

    short AddMacType(unsigned int macType);
    bool RemoveMacType(unsigned int index);
    bool IsMacTypeIncluded(unsigned int macType) const;
    int FindMacType(unsigned int macType) const;
    /// 0 if the index is out of range.
    unsigned int GetMacType(unsigned int index) const;
    int CountMacTypes() const { return macTypeCount; }
    unsigned int const * GetMacTypeList() const { return macTypeList.Get(); }

    unsigned int GetMacCreator() const { return macCreator; }
    int GetIconID() const { return iconID; }
    char const * GetDescription() const { return description.Get(); }
    /// Null if there is none.
    ContentTest * GetTypeCallback() const { return typeCallback; }

    /// The hidden flag: the type is not shown to users. See FileTypeManager::IsHideFileType.
    bool GetMode() const { return mode; }
    void SetMode(bool hidden) { mode = hidden; }

    /// Runs the content test; false if there is none.
    bool CheckTypeCallback(Mu::IChannel & channel, void * info) const;

private:
    friend class BulkAdding;

    /// The content of a new object, for filling it in one step. All texts are zero-terminated and
    /// not empty, and no list has duplicates; extensions are in lower case.
    struct Contents {
        std::string_view description;
        std::span<std::string_view const> extensions;
        std::span<std::string_view const> names;
        ContentTest * test;
    };

    /// Elements stored inline, or in a block if they do not fit.
    template <typename T, unsigned int n>
    struct Items {
        static constexpr unsigned int InlineCount = n;

        T const * Get() const { return heap == nullptr ? inlineItems : heap; }
        T * Get() { return heap == nullptr ? inlineItems : heap; }

        T * heap = nullptr;
        T inlineItems[n] = {};
    };

    /// False: no memory; then the object may only be destroyed.
    [[nodiscard]] bool Fill(Contents const & contents);
    void Clear();
    void Steal(FileType & other);

    unsigned int macCreator = 0;
    int iconID = 0;
    InlineText<32> description;
    mutable Items<char, 16> extensionList;
    unsigned int extensionListSize = 0;      // bytes used
    unsigned int extensionListAllocated = 0; // size of the block; 0 if there is none
    Items<unsigned int, 4> macTypeList;
    int macTypeCount = 0;
    Items<char, 32> mimeList;
    unsigned int mimeListSize = 0; // bytes used
    ContentTest * typeCallback = nullptr;
    bool mode = false;
};

} // namespace FTM
