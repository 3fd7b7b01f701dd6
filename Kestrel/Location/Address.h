#pragma once

#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Objects/Object.h>

#include <functional>

namespace IO {

class NameEnumerator;

/// A sequence of names, such as the path of one folder, in four bytes.
///
/// All addresses of the process share one tree of names, in which each name of each path is stored
/// once; an address is the number of a node in it. So a copy takes no memory and no lock, the same
/// names always give the same node, and a million paths below one folder store the folder once.
///
/// An address that could not get its memory has no node and is invalid: GetStatus and every
/// operation return ErrMemoryFull, until a valid address is assigned or Clear, Set or Read
/// succeeds.
///
/// A name may carry an attachment, a text of the platform layer that belongs to one name of one
/// path. It makes a different node, but the names that are read here come without it.
///
/// Memory:  none of its own. The tree takes its own as documented in Internal/AddressTree.h and
///          gives all of it back when the last address is gone.
/// Threads: one object belongs to one thread at a time; copies of it may be used on any thread. All
///          operations take the one lock of the tree once, except that copying, comparing what one
///          node, length or hash settles, length and hash take none.
/// Failure: statuses, no exceptions but one: the very first address of a process throws
///          Mu::SynchronizationException when the lock cannot be made. No index is checked for its
///          meaning here: Location and RelativeLocation check before they call. One at or past the
///          length, and a last name asked of the empty address, give Error and change nothing.
class KESTREL_API Address : public Mu::Object {
public:
    /// The node of an invalid address.
    static constexpr unsigned int NoNode = 0xFFFFFFFFu;

    /// The empty address. It is what a root is, so it can be valid without any name.
    Address();
    /// From a name list, as Set takes it. Look at GetStatus.
    explicit Address(unsigned short const * names);
    explicit Address(char16_t const * names);
    Address(Address const & other);
    /// The other is invalid afterwards, until something is assigned to it.
    Address(Address && other) noexcept;

    Address & operator=(Address const & other);
    Address & operator=(Address && other) noexcept;

    static Mu::ClassInfo const & GetClassInfoStatic();

    Mu::ClassInfo const & GetClassInfo() const override;
    ~Address() override { Drop(); }

    /// Returns NoError and makes the address invalid for a frame that an invalid one wrote. After
    /// any other status the address holds the names that were read so far.
    MuErrCode Read(Mu::IChannel & channel) override;
    MuErrCode Write(Mu::OChannel & channel) const override;

    /// Writes the last `tailCount` names in front, so that a reader of the oldest form, which knows
    /// no second part, gets the significant end of the address.
    MuErrCode Write(Mu::OChannel & channel, unsigned int tailCount) const;

    /// Replaces the address by the names of a list: zero-terminated texts one after another, with
    /// an empty one behind the last. The old node is released first.
    MuErrCode Set(unsigned short const * names);
    MuErrCode Set(char16_t const * names);
    /// Empty again, and valid if the memory allows.
    void Clear();

    /// NoError or ErrMemoryFull.
    MuErrCode GetStatus() const;

    // These read names; an index counts from the front. On any status but NoError the output is
    // left alone.

    MuErrCode GetName(unsigned int index, Name * name) const;
    MuErrCode GetLastName(Name * name) const;
    /// An empty name where there is no attachment.
    MuErrCode GetNameAttachment(unsigned int index, Name * attachment) const;

    // These change the address. ErrMemoryFull: it is invalid now, or was before; SetNameAttachment,
    // which composes a text first, can also leave it as it was. A name ends at its first zero unit,
    // for the tree stores zero-terminated texts.

    MuErrCode SetName(unsigned int index, Name const & name);
    MuErrCode SetLastName(Name const & name);
    /// Replaces the attachment of that name; an empty one removes it. What is read back ends at the
    /// first ">" in it; the rest becomes part of the name.
    MuErrCode SetNameAttachment(unsigned int index, Name const & attachment);
    MuErrCode Append(Name const & name);
    /// Appends the names of the other without their attachments. The other may be this one.
    MuErrCode Append(Address const & other);
    MuErrCode DeleteName(unsigned int index);
    MuErrCode DeleteLastName();

    /// 0 and true for an invalid address.
    unsigned int GetLength() const;
    bool IsEmpty() const;

    /// Calls NameFound for every name, first to last, attachments included, with the lock of the
    /// tree held. ErrMemoryFull: the address is invalid, or the memory for a name was not to be
    /// had.
    MuErrCode EnumerateNames(NameEnumerator * enumerator) const;

    /// Whether the names are the same, as Name::operator== has it, whatever their attachments.
    bool operator==(Address const & other) const { return IsSame(node, other.node); }
    bool operator!=(Address const & other) const { return !(*this == other); }
    /// By the first names that are not ==, as Name::operator< has it; else the shorter comes first.
    bool operator<(Address const & other) const;

    /// The same for addresses whose names differ in case only; 0 for an invalid one. Costs the same
    /// for every length.
    unsigned int GenerateHashValue() const;

    /// Destroys the tree with all that is in it. For a host that wants its memory back at its very
    /// end: whatever addresses live at that moment, the library's own among them, must not be used
    /// any more, only destroyed, and that before a new address brings a new tree.
    static void CleanUp();

    /// Prints every node with its count, indented by depth. Nothing when there is no tree.
    static void PrintAddressTree(Mu::OChannel & channel);

private:
    friend class LentAddress;
    friend class LentConstAddress;
    friend class Location;
    friend class RelativeLocation;

    struct Unset {};
    explicit Address(Unset) noexcept {}

    void Drop() noexcept {
        if (node != NoNode)
            Release();
    }
    void Release() noexcept;
    static bool IsSame(unsigned int a, unsigned int b) { return a == b || AreSameNames(a, b); }
    static bool AreSameNames(unsigned int a, unsigned int b);
    bool IsOneName(char16_t const * name) const;
    bool BeginsWith(Address const & start) const;
    MuErrCode ReadNames(Mu::IChannel & channel, unsigned int count);
    MuErrCode ReadHead(Mu::IChannel & channel);
    MuErrCode WriteNames(Mu::OChannel & channel, unsigned int from, unsigned int count) const;

    unsigned int node = NoNode;
};

/// The names in UTF-8, with "/" between them. An invalid address is shown as nothing.
template <typename Traits>
std::basic_ostream<char, Traits> & operator<<(std::basic_ostream<char, Traits> & stream,
                                              Address const & address) {
    Name name;
    for (unsigned int i = 0; address.GetName(i, &name) == NoError; ++i)
        stream << (i == 0 ? "" : "/") << name;
    return stream;
}

} // namespace IO

template <>
struct std::hash<IO::Address> {
    std::size_t operator()(IO::Address const & address) const {
        return address.GenerateHashValue();
    }
};
