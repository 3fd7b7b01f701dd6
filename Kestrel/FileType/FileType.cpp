#include <Kestrel/FileType/FileType.h>

#include <Kestrel/FileType/Internal/ExtensionKey.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Text/UniString.h>

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

namespace FTM {

// Hosts built without optimisation take the addresses.
constexpr unsigned int FileType::defExtAllocSize;
constexpr unsigned int FileType::MaxPiece;

namespace {

constexpr short MemoryFull = static_cast<short>(Mu::ErrMemoryFull);
constexpr short PieceTooLong = static_cast<short>(Mu::Error);

// No list may grow to a size that does not fit in an int.
constexpr std::size_t MostBytes = 0x40000000;

/// Consecutive texts, each with its terminating zero.
struct Texts {
    char * list;
    unsigned int size;

    /// Null if there are fewer.
    char * Get(unsigned int index) const {
        char * at = list;
        for (; at < list + size; at += std::strlen(at) + 1)
            if (index-- == 0)
                return at;
        return nullptr;
    }

    int Find(char const * text) const {
        if (text == nullptr)
            return -1;
        int index = 0;
        for (char const * at = list; at < list + size; at += std::strlen(at) + 1, ++index)
            if (IsSameText(at, text))
                return index;
        return -1;
    }

    int Count() const { return static_cast<int>(std::count(list, list + size, '\0')); }

    /// Returns the number of remaining bytes.
    unsigned int Remove(char * entry) const {
        std::size_t const length = std::strlen(entry) + 1;
        std::memmove(entry, entry + length, static_cast<std::size_t>(list + size - entry) - length);
        return size - static_cast<unsigned int>(length);
    }
};

/// Replaces the block of `items` by one of `count` items, with the first `used` of the present
/// ones. False: out of memory, and nothing changed. The old block is returned in `*old`, since the
/// caller may still be reading from it.
template <typename Items>
bool Enlarge(Items & items, std::size_t used, std::size_t count, char ** old) {
    using T = std::remove_pointer_t<decltype(items.heap)>;
    char * const block = BMAllocatePtr(count * sizeof(T), 0, 0);
    if (block == nullptr)
        return false;
    std::memcpy(block, items.Get(), used * sizeof(T));
    *old = reinterpret_cast<char *>(items.heap);
    items.heap = reinterpret_cast<T *>(block);
    return true;
}

template <typename Items>
void FreeBlock(Items & items) {
    if (items.heap == nullptr)
        return;
    char * block = reinterpret_cast<char *>(items.heap);
    BMKillPtr(&block);
    items.heap = nullptr;
}

/// Resets both for an empty list, of which only the first item is ever read.
template <typename Items>
void Empty(Items & items) {
    items.heap = nullptr;
    items.inlineItems[0] = {};
}

/// A deep copy of `used` items in a block of `allocated`, or inline if `from` has no block.
template <typename Items>
bool CopyItems(Items const & from, Items & to, std::size_t used, std::size_t allocated) {
    if (from.heap == nullptr) {
        to = from;
        return true;
    }
    char * none = nullptr;
    if (!Enlarge(to, 0, allocated, &none))
        return false;
    std::copy_n(from.heap, used, to.heap);
    return true;
}

/// Copies the texts into empty items, each with its zero byte. A block grows in units of
/// `roomUnit`. False: out of memory.
template <typename Items>
bool FillItems(Items & items, std::span<std::string_view const> texts, std::size_t roomUnit,
               unsigned int & size, std::size_t * room) {
    std::size_t needed = 0;
    for (std::string_view const text : texts)
        needed += text.size() + 1;
    *room = needed > items.InlineCount ? (needed / roomUnit + (roomUnit > 1)) * roomUnit : 0;
    char * none = nullptr;
    if (*room > 0 && !Enlarge(items, 0, *room, &none))
        return false;
    char * to = items.Get();
    for (std::string_view const text : texts)
        to = std::copy_n(text.data(), text.size() + 1, to);
    size = static_cast<unsigned int>(needed);
    return true;
}

/// Calls `add` with each piece of a list separated by ";".
template <typename Add>
short AddPieces(char const * list, Add const & add) {
    while (list != nullptr) {
        char const * const end = IsAscii(list) ? std::strchr(list, ';')
                                               : CHSearchCharLeft(';', list, -1, MuMachineCharCode);
        std::size_t const length =
            end == nullptr ? std::strlen(list) : static_cast<std::size_t>(end - list);
        if (length > FileType::MaxPiece)
            return PieceTooLong;
        char piece[FileType::MaxPiece + 1];
        std::memcpy(piece, list, length);
        piece[length] = 0;
        if (short const status = add(piece); status != 0)
            return status;
        list = end == nullptr ? nullptr : end + 1;
    }
    return 0;
}

} // namespace

FileType::FileType(char const * description, char const * extensions, unsigned int macCreator,
                   unsigned int macType, int iconID, ContentTest * callback, char const * mime,
                   bool lowerCase)
    : macCreator(macCreator), iconID(iconID), typeCallback(callback) {
    if (!this->description.Set(description) || AddExtension(extensions, lowerCase) == MemoryFull ||
        AddMime(mime) == MemoryFull || AddMacType(macType) != 0)
        Clear();
}

FileType::FileType(FileType const & other) : FileType() {
    Copy(other);
}

FileType::FileType(FileType && other) noexcept : FileType() {
    Steal(other);
}

FileType::~FileType() {
    FreeBlock(extensionList);
    FreeBlock(macTypeList);
    FreeBlock(mimeList);
}

FileType & FileType::operator=(FileType const & other) {
    Copy(other);
    return *this;
}

FileType & FileType::operator=(FileType && other) noexcept {
    if (this != &other) {
        Clear();
        Steal(other);
    }
    return *this;
}

short FileType::Copy(FileType const & other) {
    if (this == &other)
        return 0;
    FreeBlock(extensionList);
    FreeBlock(macTypeList);
    FreeBlock(mimeList);
    auto const macTypes = static_cast<std::size_t>(other.macTypeCount);
    if (!description.Set(other.GetDescription()) ||
        !CopyItems(other.extensionList, extensionList, other.extensionListSize,
                   other.extensionListAllocated) ||
        !CopyItems(other.macTypeList, macTypeList, macTypes, std::max<std::size_t>(macTypes, 1)) ||
        !CopyItems(other.mimeList, mimeList, other.mimeListSize,
                   std::max(other.mimeListSize, 1u))) {
        Clear();
        return MemoryFull;
    }
    macCreator = other.macCreator;
    iconID = other.iconID;
    extensionListSize = other.extensionListSize;
    extensionListAllocated = other.extensionListAllocated;
    macTypeCount = other.macTypeCount;
    mimeListSize = other.mimeListSize;
    typeCallback = other.typeCallback;
    mode = other.mode;
    return 0;
}

bool FileType::Fill(Contents const & contents) {
    std::size_t room;
    if (!FillItems(mimeList, contents.names, 1, mimeListSize, &room) ||
        !FillItems(extensionList, contents.extensions, defExtAllocSize, extensionListSize, &room))
        return false;
    extensionListAllocated = static_cast<unsigned int>(room);
    iconID = -1;
    typeCallback = contents.test;
    return description.Set(contents.description.data());
}

// All fields except the blocks are plain values, so copying the fields moves the blocks.
void FileType::Steal(FileType & other) {
    macCreator = std::exchange(other.macCreator, 0);
    iconID = std::exchange(other.iconID, 0);
    description = std::move(other.description);
    extensionList = other.extensionList;
    extensionListSize = std::exchange(other.extensionListSize, 0);
    extensionListAllocated = std::exchange(other.extensionListAllocated, 0);
    macTypeList = other.macTypeList;
    macTypeCount = std::exchange(other.macTypeCount, 0);
    mimeList = other.mimeList;
    mimeListSize = std::exchange(other.mimeListSize, 0);
    typeCallback = std::exchange(other.typeCallback, nullptr);
    mode = std::exchange(other.mode, false);
    Empty(other.extensionList);
    Empty(other.macTypeList);
    Empty(other.mimeList);
}

void FileType::Clear() {
    FreeBlock(extensionList);
    FreeBlock(macTypeList);
    FreeBlock(mimeList);
    FileType none;
    Steal(none);
}

short FileType::Merge(FileType const & other) {
    Texts const extensions{other.extensionList.Get(), other.extensionListSize};
    for (unsigned int i = 0; char const * const extension = extensions.Get(i); ++i)
        if (short const status = AddSingleExtension(extension, true); status != 0)
            return status;
    for (int i = 0; i < other.macTypeCount; ++i)
        if (short const status = AddMacType(other.macTypeList.Get()[i]); status != 0)
            return status;
    for (unsigned int i = 0; char const * const mime = other.GetMime(i); ++i)
        if (short const status = AddSingleMime(mime); status != 0)
            return status;
    if (other.GetDescription()[0] != 0 && !description.Set(other.GetDescription()))
        return MemoryFull;
    if (other.macCreator != 0)
        macCreator = other.macCreator;
    if (other.iconID != 0 && other.iconID != -1)
        iconID = other.iconID;
    if (other.typeCallback != nullptr)
        typeCallback = other.typeCallback;
    return 0;
}

void FileType::Subtract(FileType const & other) {
    if (this == &other) {
        extensionListSize = mimeListSize = 0;
        macTypeCount = 0;
        return;
    }
    for (unsigned int i = 0; char const * const extension = other.GetExtension(i); ++i)
        RemoveExtension(extension);
    for (unsigned int i = 0; char const * const mime = other.GetMime(i); ++i)
        RemoveMime(mime);
    for (int i = 0; i < other.macTypeCount; ++i)
        if (int const index = FindMacType(other.macTypeList.Get()[i]); index >= 0)
            RemoveMacType(static_cast<unsigned int>(index));
}

short FileType::AddExtension(char const * list, bool lowerCase) {
    return AddPieces(list,
                     [&](char const * piece) { return AddSingleExtension(piece, lowerCase); });
}

short FileType::AddSingleExtension(char const * extension, bool lowerCase) {
    // Kept: the spelling given is looked up, before it is lower-cased. Programs that add the same
    // upper-case extension twice have it twice.
    if (extension == nullptr || *extension == 0 || IsExtensionIncluded(extension))
        return 0;
    std::size_t const length = std::strlen(extension) + 1;
    std::size_t const size = extensionListSize + length;
    if (size > MostBytes)
        return MemoryFull;
    char * old = nullptr;
    bool const fits = extensionList.heap == nullptr && size <= decltype(extensionList)::InlineCount;
    if (!fits && size > extensionListAllocated) {
        std::size_t const room = (size / defExtAllocSize + 1) * defExtAllocSize;
        if (!Enlarge(extensionList, extensionListSize, room, &old))
            return MemoryFull;
        extensionListAllocated = static_cast<unsigned int>(room);
    }
    char * const entry = extensionList.Get() + extensionListSize;
    std::memcpy(entry, extension, length);
    BMKillPtr(&old);
    extensionListSize = static_cast<unsigned int>(size);
    if (lowerCase)
        LowerCase(entry);
    return 0;
}

bool FileType::RemoveExtension(unsigned int index) {
    Texts const texts{extensionList.Get(), extensionListSize};
    char * const entry = texts.Get(index);
    if (entry != nullptr)
        extensionListSize = texts.Remove(entry);
    return entry != nullptr;
}

bool FileType::RemoveExtension(char const * extension) {
    int const index = FindExtension(extension);
    return index >= 0 && RemoveExtension(static_cast<unsigned int>(index));
}

bool FileType::IsExtensionIncluded(char const * extension) const {
    return FindExtension(extension) >= 0;
}

bool FileType::IsExtensionIncluded(Mu::UniString const & extension) const {
    for (unsigned int i = 0; char const * const entry = GetExtension(i); ++i)
        if (extension == entry)
            return true;
    return false;
}

int FileType::FindExtension(char const * extension) const {
    return Texts{extensionList.Get(), extensionListSize}.Find(extension);
}

char const * FileType::GetExtension(unsigned int index) const {
    return Texts{extensionList.Get(), extensionListSize}.Get(index);
}

int FileType::CountExtensions() const {
    return Texts{extensionList.Get(), extensionListSize}.Count();
}

int FileType::GetExtensionIDs(unsigned int * keys, bool * isLong) const {
    Texts const texts{extensionList.Get(), extensionListSize};
    int count = 0;
    char * entry = texts.list;
    for (; entry < texts.list + texts.size; entry += std::strlen(entry) + 1, ++count) {
        if (keys != nullptr)
            LowerCase(entry);
        bool isLongEntry;
        unsigned int const key = MakeExtensionKey(entry, &isLongEntry);
        if (keys != nullptr)
            keys[count] = key;
        if (isLong != nullptr)
            isLong[count] = isLongEntry;
    }
    return count;
}

int FileType::ExtIndexCount() const {
    int const extensions = CountExtensions();
    return macTypeCount == 0 ? extensions : (extensions + 1) * macTypeCount;
}

short FileType::AddMime(char const * list) {
    return AddPieces(list, [&](char const * piece) { return AddSingleMime(piece); });
}

short FileType::AddSingleMime(char const * mime) {
    if (mime == nullptr || *mime == 0 || IsMimeIncluded(mime))
        return 0;
    std::size_t const length = std::strlen(mime) + 1;
    std::size_t const size = mimeListSize + length;
    if (size > MostBytes)
        return MemoryFull;
    char * old = nullptr;
    if (mimeList.heap != nullptr || size > mimeList.InlineCount)
        if (!Enlarge(mimeList, mimeListSize, size, &old))
            return MemoryFull;
    std::memcpy(mimeList.Get() + mimeListSize, mime, length);
    BMKillPtr(&old);
    mimeListSize = static_cast<unsigned int>(size);
    return 0;
}

bool FileType::RemoveMime(unsigned int index) {
    Texts const texts{mimeList.Get(), mimeListSize};
    char * const entry = texts.Get(index);
    if (entry != nullptr)
        mimeListSize = texts.Remove(entry);
    return entry != nullptr;
}

bool FileType::RemoveMime(char const * mime) {
    int const index = FindMime(mime);
    return index >= 0 && RemoveMime(static_cast<unsigned int>(index));
}

bool FileType::IsMimeIncluded(char const * mime) const {
    return FindMime(mime) >= 0;
}

// The list is only read; Texts serves both purposes.
int FileType::FindMime(char const * mime) const {
    return Texts{const_cast<char *>(mimeList.Get()), mimeListSize}.Find(mime);
}

char const * FileType::GetMime(unsigned int index) const {
    return Texts{const_cast<char *>(mimeList.Get()), mimeListSize}.Get(index);
}

int FileType::CountMimeTypes() const {
    return Texts{const_cast<char *>(mimeList.Get()), mimeListSize}.Count();
}

short FileType::AddMacType(unsigned int macType) {
    if (macType == 0 || IsMacTypeIncluded(macType))
        return 0;
    auto const count = static_cast<std::size_t>(macTypeCount);
    char * old = nullptr;
    if (macTypeList.heap != nullptr || count == macTypeList.InlineCount)
        if (!Enlarge(macTypeList, count, count + 1, &old))
            return MemoryFull;
    macTypeList.Get()[count] = macType;
    BMKillPtr(&old);
    ++macTypeCount;
    return 0;
}

bool FileType::RemoveMacType(unsigned int index) {
    if (index >= static_cast<unsigned int>(macTypeCount))
        return false;
    unsigned int * const list = macTypeList.Get();
    std::copy(list + index + 1, list + macTypeCount, list + index);
    --macTypeCount;
    return true;
}

bool FileType::IsMacTypeIncluded(unsigned int macType) const {
    return FindMacType(macType) >= 0;
}

int FileType::FindMacType(unsigned int macType) const {
    unsigned int const * const end = macTypeList.Get() + macTypeCount;
    unsigned int const * const found = std::find(macTypeList.Get(), end, macType);
    return found == end ? -1 : static_cast<int>(found - macTypeList.Get());
}

unsigned int FileType::GetMacType(unsigned int index) const {
    return index < static_cast<unsigned int>(macTypeCount) ? macTypeList.Get()[index] : 0;
}

bool FileType::CheckTypeCallback(Mu::IChannel & channel, void * info) const {
    return typeCallback != nullptr && typeCallback(channel, info);
}

} // namespace FTM
