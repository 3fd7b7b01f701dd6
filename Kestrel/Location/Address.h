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
/// An address for which memory could not be allocated has no node and is invalid: GetStatus and
/// every operation return ErrMemoryFull, until a valid address is assigned or Clear, Set or Read
/// succeeds.
///
/// A name may have an attachment, a text of the platform layer for one name of one path. It makes a
/// different node, but is left out when names are read here.
///
/// Memory:  none of its own. The tree allocates as documented in Internal/AddressTree.h, and is
///          freed with the last address.
/// Threads: one object is used by one thread at a time; copies of it may be used on any thread. All
///          operations take the single lock of the tree once, except copying, GetLength, the hash,
///          and comparisons that are decided by the node, length or hash, which take none.
/// Failure: statuses; the only exception is Mu::SynchronizationException from the very first
///          address of a process if the lock cannot be created. Indices are checked against the
///          length only: an invalid one, and a query for the last name of the empty address,
///          returns Error and changes nothing.
class KESTREL_API Address : public Mu::Object {
public:
    /// The node of an invalid address.
    static constexpr unsigned int NoNode = 0xFFFFFFFFu;

    /// The empty address, which stands for a root; it is valid without any name.
    Address();
    /// From a name list, as for Set. Check GetStatus.
    explicit Address(unsigned short const * names);
    explicit Address(char16_t const * names);
    Address(Address const & other);
    /// The other address is invalid afterwards, until something is assigned to it.
    Address(Address && other) noexcept;

    Address & operator=(Address const & other);
    Address & operator=(Address && other) noexcept;

    static Mu::ClassInfo const & GetClassInfoStatic();

    Mu::ClassInfo const & GetClassInfo() const override;
    ~Address() override { Drop(); }

    /// For a frame that was written by an invalid address, returns NoError and makes this one
    /// invalid. After any other status the address contains the names that were read so far.
    MuErrCode Read(Mu::IChannel & channel) override;
    MuErrCode Write(Mu::OChannel & channel) const override;

    /// Writes the last `tailCount` names in front, so that readers of the oldest form, which has no
    /// second part, get the significant end of the address.
    MuErrCode Write(Mu::OChannel & channel, unsigned int tailCount) const;

    /// Replaces the address by a name list: zero-terminated texts one after another, with an empty
    /// one at the end. The old node is released first.
    MuErrCode Set(unsigned short const * names);
    MuErrCode Set(char16_t const * names);
    /// Makes the address empty, and valid if there is memory.
    void Clear();

    /// NoError or ErrMemoryFull.
    MuErrCode GetStatus() const;

    // These read names; an index counts from the front. Unless the status is NoError, the output is
    // not changed.

    MuErrCode GetName(unsigned int index, Name * name) const;
    MuErrCode GetLastName(Name * name) const;
    /// An empty name if there is no attachment.
    MuErrCode GetNameAttachment(unsigned int index, Name * attachment) const;

    // These change the address. ErrMemoryFull: it is invalid now, or was before; SetNameAttachment,
    // which composes a text first, may also leave it unchanged. A name ends at its first zero unit,
    // as the tree stores zero-terminated texts.

    MuErrCode SetName(unsigned int index, Name const & name);
    MuErrCode SetLastName(Name const & name);
    /// Replaces the attachment of that name; an empty one removes it. When read back, an attachment
    /// ends at the first ">" in it, and the rest is part of the name.
    MuErrCode SetNameAttachment(unsigned int index, Name const & attachment);
    MuErrCode Append(Name const & name);
    /// Appends the names of the other address without their attachments. It may be this address.
    MuErrCode Append(Address const & other);
    MuErrCode DeleteName(unsigned int index);
    MuErrCode DeleteLastName();

    /// 0 and true for an invalid address.
    unsigned int GetLength() const;
    bool IsEmpty() const;

    /// Calls NameFound for every name, first to last, attachments included, with the lock of the
    /// tree held. The address may be changed or destroyed meanwhile. ErrMemoryFull: the address is
    /// invalid, or there was no memory for a name.
    MuErrCode EnumerateNames(NameEnumerator * enumerator) const;

    /// Whether the names are equal by Name::operator==, whatever their attachments.
    bool operator==(Address const & other) const { return IsSame(node, other.node); }
    bool operator!=(Address const & other) const { return !(*this == other); }
    /// Orders by the first names that differ, by Name::operator<; a prefix comes first.
    bool operator<(Address const & other) const;

    /// Equal for addresses whose names differ only in case; 0 for an invalid one. Takes constant
    /// time.
    unsigned int GenerateHashValue() const;

    /// Destroys the tree with all its content. For a host that needs its memory back at its very
    /// end: addresses that still exist, including the library's own, must not be used any more,
    /// only destroyed, and that before a new address creates a new tree.
    static void CleanUp();

    /// Prints every node with its count, indented by depth. Prints nothing if there is no tree.
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

/// The names in UTF-8, separated by "/". Writes nothing for an invalid address.
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
