#pragma once

#include <Kestrel/Comfort/Paths.h>
#include <Kestrel/Comfort/Result.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>

#include <concepts>
#include <cstddef>
#include <exception>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace IO {

/// What an enumeration gives for each entry.
struct FoundEntry {
    Name name;
    bool isFolder; ///< after links were followed, where they are
};

/// Calls a visitor, and returns whether to go on: what it returns, or always.
template <typename Visit, typename... Arguments>
bool GoesOn(Visit & visit, Arguments const &... arguments) {
    if constexpr (std::is_void_v<std::invoke_result_t<Visit &, Arguments const &...>>) {
        visit(arguments...);
        return true;
    } else
        return visit(arguments...);
}

/// Calls `visit` for each entry of the folder, `visit(entry)` or `visit(name, isFolder)`. One that
/// returns false ends the enumeration, which is no failure. What `visit` throws comes out of here.
/// Failure: those of Folder::Enumerate.
template <typename Visit>
[[nodiscard]] MuErrCode ForEach(Folder const & folder, Visit && visit,
                                Folder::LinkProcessing links = Folder::LinkProcessing::Resolve,
                                unsigned int mask = Folder::Everything) {
    struct Call {
        std::remove_reference_t<Visit> & visit;
        std::exception_ptr thrown;

        bool Do(Name const & name, bool isFolder) {
            if constexpr (std::invocable<Visit &, Name const &, bool>)
                return GoesOn(visit, name, isFolder);
            else
                return GoesOn(visit, FoundEntry{name, isFolder});
        }
    } call{visit, nullptr};
    MuErrCode const status = folder.Enumerate(
        [](Folder const &, Name const & name, bool isFolder, void * data) {
            Call & now = *static_cast<Call *>(data);
            try {
                return now.Do(name, isFolder);
            } catch (...) { // the enumeration ends in order first
                now.thrown = std::current_exception();
                return false;
            }
        },
        links, mask, &call);
    if (call.thrown != nullptr)
        std::rethrow_exception(call.thrown);
    return status;
}

/// The entries of a folder, read at once. Failure: those of Folder::Enumerate.
inline Result<std::vector<FoundEntry>>
GetEntries(Folder const & folder, Folder::LinkProcessing links = Folder::LinkProcessing::Resolve) {
    return Result<std::vector<FoundEntry>>::From([&](std::vector<FoundEntry> * entries) {
        return ForEach(
            folder,
            [&](Name const & name, bool isFolder) {
                entries->push_back({name, isFolder});
            },
            links);
    });
}

/// An iterator over entries that are read when the loop begins, so that the folder may be changed in
/// it.
class EntryIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = FoundEntry;
    using difference_type = std::ptrdiff_t;
    using pointer = FoundEntry const *;
    using reference = FoundEntry const &;

    EntryIterator() = default;
    explicit EntryIterator(std::vector<FoundEntry> given)
        : entries(std::make_shared<std::vector<FoundEntry> const>(std::move(given))) {}

    FoundEntry const & operator*() const { return (*entries)[index]; }
    FoundEntry const * operator->() const { return &**this; }
    EntryIterator & operator++() {
        ++index;
        return *this;
    }
    void operator++(int) { ++index; }
    bool operator==(EntryIterator const & other) const { return IsEnd() == other.IsEnd(); }

private:
    bool IsEnd() const { return entries == nullptr || index == entries->size(); }

    std::shared_ptr<std::vector<FoundEntry> const> entries;
    std::size_t index = 0;
};

// For `for (auto const & entry : folder)`. Throws std::system_error where the folder cannot be read;
// GetEntries and ForEach return the status instead.

inline EntryIterator begin(Folder const & folder) {
    return EntryIterator(GetEntries(folder).GetValue());
}

inline EntryIterator end(Folder const &) {
    return EntryIterator();
}

/// Calls `visit(folder, name, isFolder)` for each file and folder below `root`, depth first, a folder
/// before what is in it. Links are followed as TreeEnumerator documents. One that returns false ends
/// the walk, which is no failure. What `visit` throws comes out of here.
/// Failure: those of TreeEnumerator::Do.
template <typename Visit>
[[nodiscard]] MuErrCode ForEachBelow(Folder const & root, Visit && visit) {
    class Walk : public TreeEnumerator {
    public:
        Walk(Folder const & start, Visit & given) : TreeEnumerator(start), visit(given) {}
        std::exception_ptr thrown;

    private:
        bool FileFound(Name const & name) override { return Meet(name, false); }
        bool FolderFound(Name const & name) override { return Meet(name, true); }
        bool Meet(Name const & name, bool isFolder) {
            try {
                if (GoesOn(visit, *GetParent(), name, isFolder))
                    return true;
            } catch (...) { // the walk ends in order first
                thrown = std::current_exception();
            }
            Stop();
            return false;
        }

        Visit & visit;
    } walk(root, visit);
    MuErrCode const status = walk.Do();
    if (walk.thrown != nullptr)
        std::rethrow_exception(walk.thrown);
    return status;
}

} // namespace IO
