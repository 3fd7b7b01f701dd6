#pragma once

#include <Kestrel/Comfort/Files.h>
#include <Kestrel/Comfort/Paths.h>
#include <Kestrel/Comfort/Result.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>

#include <chrono>
#include <concepts>
#include <cstddef>
#include <exception>
#include <iterator>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

namespace IO {

/// The data that an enumeration reports for each entry. Length and time are included where the
/// enumeration has them, as Folder::GetFoundFile documents: mostly for plain files on Linux, for
/// none on Windows. GetSize below queries the file where they are missing.
struct FoundEntry {
    Name name;
    bool isFolder = false; ///< after following links, if they are followed
    std::optional<unsigned long long> length = {};
    std::optional<std::chrono::sys_seconds> modificationTime = {};

    /// Only from within an enumeration of `folder`, for its current name.
    static FoundEntry Make(Folder const & folder, Name const & name, bool isFolder) {
        FoundEntry found{name, isFolder};
        if (!isFolder)
            (void)found.TakeKnown(folder, name);
        return found;
    }
    /// The same for length and time alone. False: the enumeration does not have them.
    bool TakeKnown(Folder const & folder, Name const & found) {
        unsigned long long foundLength = 0;
        int time = 0;
        if (!folder.GetFoundFile(found, &foundLength, &time))
            return false;
        length = foundLength;
        modificationTime = std::chrono::sys_seconds(std::chrono::seconds(time));
        return true;
    }
};

/// An entry of a tree, with its place in it.
struct TreeEntry : FoundEntry {
    unsigned int depth = 0; ///< folders between the root of the walk and the entry
    bool isLink = false;    ///< in a walk that reports links
    /// One for all entries of a folder, which costs less than one for each. Never null in a walk.
    std::shared_ptr<Location const> folder = {};

    Location const & GetFolder() const { return *folder; }
    Location GetLocation() const { return *folder / name; }
};

/// The length of a file found by an enumeration: from there, or else queried from the file.
inline Result<unsigned long long> GetSize(Folder const & folder, FoundEntry const & entry) {
    return entry.length ? Result(*entry.length) : GetSize(File(folder, entry.name));
}
inline Result<unsigned long long> GetSize(TreeEntry const & entry) {
    return entry.length ? Result(*entry.length) : GetSize(entry.GetLocation());
}

/// Calls a visitor, and returns whether to continue: the visitor's result, or true if it has none.
template <typename Visit, typename... Arguments>
bool GoesOn(Visit & visit, Arguments const &... arguments) {
    if constexpr (std::is_void_v<std::invoke_result_t<Visit &, Arguments const &...>>) {
        visit(arguments...);
        return true;
    } else
        return visit(arguments...);
}

/// Calls `visit` for each entry of the folder, `visit(entry)` or `visit(name, isFolder)`, of which
/// the second saves a system call for each file on Linux, the one for its length. If it returns
/// false, the enumeration ends, which is no failure. Exceptions of `visit` are passed on.
/// Failure: those of Folder::Enumerate.
template <typename Visit>
[[nodiscard]] MuErrCode ForEach(Folder const & folder, Visit && visit,
                                Folder::LinkProcessing links = Folder::LinkProcessing::Resolve,
                                unsigned int mask = Folder::Everything) {
    struct Call {
        std::remove_reference_t<Visit> & visit;
        std::exception_ptr thrown;

        bool Do(Folder const & folder, Name const & name, bool isFolder) {
            if constexpr (std::invocable<Visit &, Name const &, bool>)
                return GoesOn(visit, name, isFolder);
            else
                return GoesOn(visit, FoundEntry::Make(folder, name, isFolder));
        }
    } call{visit, nullptr};
    MuErrCode const status = folder.Enumerate(
        [](Folder const & found, Name const & name, bool isFolder, void * data) {
            Call & now = *static_cast<Call *>(data);
            try {
                return now.Do(found, name, isFolder);
            } catch (...) { // the enumeration is ended properly first
                now.thrown = std::current_exception();
                return false;
            }
        },
        links, mask, &call);
    if (call.thrown != nullptr)
        std::rethrow_exception(call.thrown);
    return status;
}

template <typename Visit, typename... Options>
MuErrCode Folder::ForEach(Visit && visit, Options... options) const {
    return IO::ForEach(*this, std::forward<Visit>(visit), options...);
}

/// The entries of a folder, read at once. Failure: those of Folder::Enumerate.
inline Result<std::vector<FoundEntry>>
GetEntries(Folder const & folder, Folder::LinkProcessing links = Folder::LinkProcessing::Resolve) {
    return Result<std::vector<FoundEntry>>::From([&](std::vector<FoundEntry> * entries) {
        return ForEach(
            folder, [&](FoundEntry const & entry) { entries->push_back(entry); }, links);
    });
}

/// An iterator over entries that are read when the loop starts, so that the folder may be changed
/// in it.
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

// For `for (auto const & entry : folder)`. Throws std::system_error if the folder cannot be read;
// GetEntries and ForEach return the status instead.

inline EntryIterator begin(Folder const & folder) {
    return EntryIterator(GetEntries(folder).GetValue());
}

inline EntryIterator end(Folder const &) {
    return EntryIterator();
}

/// Calls `visit` for each file and folder below `root`, `visit(entry)` with a TreeEntry or, without
/// a location and a length, `visit(folder, name, isFolder)`: depth first, a folder before its
/// entries. Links are followed as TreeEnumerator documents, or else reported as links. If it
/// returns false, the walk ends, which is no failure. Exceptions of `visit` are passed on.
/// Failure: those of TreeEnumerator::Do.
template <typename Visit>
[[nodiscard]] MuErrCode
ForEachBelow(Folder const & root, Visit && visit,
             Folder::LinkProcessing links = Folder::LinkProcessing::Resolve) {
    constexpr bool isPlain = std::invocable<Visit &, Folder const &, Name const &, bool>;
    class Walk : public TreeEnumerator {
    public:
        Walk(Folder const & start, Visit & given, Folder::LinkProcessing givenLinks)
            : TreeEnumerator(start), visit(given), links(givenLinks), places(1) {}
        std::exception_ptr thrown;

    private:
        // An entry that is certainly a plain file needs no query of its type.
        bool EntryFound(Name const & name, bool isFolder) override {
            TreeEntry known;
            if (isFolder || !(isPlain ? GetParent()->GetFoundFile(name, nullptr, nullptr)
                                      : known.TakeKnown(*GetParent(), name)))
                return true;
            (void)Meet(name, std::move(known)); // if it ended the walk, the walk is already stopped
            return false;
        }
        // That the enumeration has no length and time was found out above.
        bool FileFound(Name const & name) override { return Meet(name, {}); }
        bool FolderFound(Name const & name) override {
            TreeEntry entry;
            entry.isFolder = true;
            return Meet(name, std::move(entry));
        }
        bool LinkFound(Name const & name) override {
            TreeEntry entry;
            entry.isLink = true;
            return links == Folder::LinkProcessing::Resolve ||
                   (Meet(name, std::move(entry)), false);
        }
        void FolderEntered(Name const &, Folder const &) override { places.emplace_back(); }
        void FolderExited(Name const &, Folder const &) override { places.pop_back(); }
        bool Meet(Name const & name, TreeEntry && entry) {
            try {
                if (Visited(name, std::move(entry)))
                    return true;
            } catch (...) { // the walk is ended properly first
                thrown = std::current_exception();
            }
            Stop();
            return false;
        }
        bool Visited(Name const & name, TreeEntry && entry) {
            if constexpr (isPlain)
                return GoesOn(visit, *GetParent(), name, entry.isFolder);
            else {
                entry.name = name;
                entry.depth = static_cast<unsigned int>(places.size() - 1);
                entry.folder = GetPlace();
                if constexpr (std::invocable<Visit &, TreeEntry const &>)
                    return GoesOn(visit, std::as_const(entry));
                else {
                    visit(std::move(entry)); // moved, since Tree keeps it
                    return true;
                }
            }
        }
        std::shared_ptr<Location const> const & GetPlace() {
            std::shared_ptr<Location const> & place = places.back();
            if (place == nullptr) {
                Location found;
                (void)GetParent()->GetLocation(&found); // on failure it holds the status
                place = std::make_shared<Location const>(std::move(found));
            }
            return place;
        }

        Visit & visit;
        Folder::LinkProcessing const links;
        std::vector<std::shared_ptr<Location const>> places; // of the folders being walked
    } walk(root, visit, links);
    MuErrCode const status = walk.Do();
    if (walk.thrown != nullptr)
        std::rethrow_exception(walk.thrown);
    return status;
}

/// All entries below a folder, as a range:
///
///     for (IO::TreeEntry const & entry : IO::Tree(folder))
///         std::cout << entry.GetLocation() << "\n";
///
/// Read completely when it is constructed, so that the tree may be changed in the loop;
/// ForEachBelow keeps nothing. Links as there.
class Tree {
public:
    explicit Tree(Folder const & root,
                  Folder::LinkProcessing links = Folder::LinkProcessing::Resolve)
        : status(ForEachBelow(
              root, [this](TreeEntry && entry) { entries.push_back(std::move(entry)); }, links)) {}

    /// ErrTreeAccessDenied: entries that may not be read are missing.
    MuErrCode GetStatus() const { return status; }
    /// The entries that could be read.
    std::vector<TreeEntry> const & GetEntries() const { return entries; }

    /// Throws std::system_error if something could not be read; GetEntries does not.
    std::vector<TreeEntry>::const_iterator begin() const {
        Status(status).Check();
        return entries.begin();
    }
    std::vector<TreeEntry>::const_iterator end() const { return entries.end(); }

private:
    std::vector<TreeEntry> entries;
    MuErrCode status;
};

} // namespace IO
