#include <Kestrel/Location/Address.h>

#include <Kestrel/Location/Internal/AddressTree.h>
#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Location/Internal/NameText.h>
#include <Kestrel/Location/Internal/PathNodes.h>
#include <Kestrel/Location/NameEnumerator.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Objects/ClassInfo.h>

namespace IO {

// Hosts compiled without optimisation take the addresses.
constexpr unsigned int Address::NoNode;

using Turn = AddressTree::Turn;

static Mu::ConstSubstring KeyOf(Name const & name) {
    return {name.ToString().GetUnits(), Mu::CountUnits(name.ToString().GetUnits())};
}

// The status of an address with this node.
static MuErrCode StatusOf(unsigned int node) {
    return node == Address::NoNode ? ErrMemoryFull : NoError;
}

Mu::ClassInfo const & Address::GetClassInfoStatic() {
    static Mu::ClassInfo const classInfo("IO::Address", Mu::ClassVersion(1, 2));
    return classInfo;
}

Mu::ClassInfo const & Address::GetClassInfo() const {
    return GetClassInfoStatic();
}

Address::Address() : node(Turn()->HoldRoot()) {}

Address::Address(unsigned short const * names) {
    Set(names);
}

Address::Address(char16_t const * names) {
    Set(names);
}

Address::Address(Address const & other) : Mu::Object(other), node(other.node) {
    if (node != NoNode)
        AddressTree::Copy(node);
}

Address::Address(Address && other) noexcept : node(std::exchange(other.node, NoNode)) {}

Address & Address::operator=(Address const & other) {
    unsigned int const taken = other.node;
    if (node != taken) {
        if (taken != NoNode)
            AddressTree::Copy(taken);
        Drop();
        node = taken;
    }
    return *this;
}

Address & Address::operator=(Address && other) noexcept {
    if (this != &other) {
        Drop();
        node = std::exchange(other.node, NoNode);
    }
    return *this;
}

// A hold that cannot be released, because the lock fails, is lost: its nodes remain.
void Address::Release() noexcept {
    unsigned int const old = std::exchange(node, NoNode);
    if (AddressTree::DropCopy(old))
        return;
    try {
        Turn()->Drop(old);
    } catch (Mu::SynchronizationException const &) {
    }
}

MuErrCode Address::Set(unsigned short const * names) {
    AddressTree::PrefetchNote(node);
    Turn const tree;
    tree->Drop(node);
    node = names == nullptr ? tree->HoldRoot() : tree->HoldPath(names);
    return GetStatus();
}

MuErrCode Address::Set(char16_t const * names) {
    return Set(Mu::ToUnits(names));
}

void Address::Clear() {
    Set(static_cast<unsigned short const *>(nullptr));
}

MuErrCode Address::GetStatus() const {
    return StatusOf(node);
}

unsigned int Address::GetLength() const {
    return node == NoNode ? 0 : AddressTree::GetLength(node);
}

bool Address::IsEmpty() const {
    return GetLength() == 0;
}

// The index that an argument denotes in an address of that length.
struct LastIndex {};
static unsigned int Resolve(unsigned int index, unsigned int) {
    return index;
}
static unsigned int Resolve(LastIndex, unsigned int length) {
    return length - 1; // not a valid index when there is no name
}

// Calls the operation with the tree, the index and the node of the name there.
template <typename Index, typename Operation>
static MuErrCode WithName(unsigned int node, Index where, Operation const & operation) {
    if (node == Address::NoNode)
        return ErrMemoryFull;
    Turn const tree;
    unsigned int const length = tree->GetLength(node);
    unsigned int const index = Resolve(where, length);
    if (index >= length)
        return Error;
    return WithoutException(
        [&] { return operation(*tree, index, tree->GetAncestor(node, length - 1 - index)); });
}

template <typename Index>
static MuErrCode ReadName(unsigned int node, Index index, Mu::UniString & text) {
    return WithName(node, index, [&](AddressTree & tree, unsigned int, unsigned int found) {
        tree.ReadName(found, text);
        return NoError;
    });
}

template <typename Index>
static MuErrCode ChangeName(unsigned int & node, Index index, Name const & name) {
    return WithName(node, index, [&](AddressTree & tree, unsigned int at, unsigned int) {
        tree.Claim(node);
        node = tree.SetName(node, at, KeyOf(name));
        return StatusOf(node);
    });
}

template <typename Index>
static MuErrCode RemoveName(unsigned int & node, Index index) {
    return WithName(node, index, [&](AddressTree & tree, unsigned int at, unsigned int) {
        tree.Claim(node);
        node = tree.DeleteName(node, at);
        return StatusOf(node);
    });
}

MuErrCode Address::GetName(unsigned int index, Name * name) const {
    return name == nullptr ? Error : ReadName(node, index, name->text);
}

MuErrCode Address::GetLastName(Name * name) const {
    return name == nullptr ? Error : ReadName(node, LastIndex(), name->text);
}

MuErrCode Address::GetNameAttachment(unsigned int index, Name * attachment) const {
    if (attachment == nullptr)
        return Error;
    return WithName(node, index, [&](AddressTree & tree, unsigned int, unsigned int found) {
        Mu::UniString text;
        tree.ReadStoredName(found, text);
        attachment->text = AttachmentOf(text);
        return NoError;
    });
}

MuErrCode Address::SetName(unsigned int index, Name const & name) {
    return Mu::IsNull(name) ? Error : ChangeName(node, index, name);
}

MuErrCode Address::SetLastName(Name const & name) {
    return Mu::IsNull(name) ? Error : ChangeName(node, LastIndex(), name);
}

MuErrCode Address::SetNameAttachment(unsigned int index, Name const & attachment) {
    if (Mu::IsNull(attachment))
        return Error;
    return WithName(node, index, [&](AddressTree & tree, unsigned int at, unsigned int found) {
        Name name;
        tree.ReadName(found, name.text);
        if (!attachment.IsEmpty())
            name.text = Mu::UniString("::<") + attachment.text + ">" + name.text;
        tree.Claim(node);
        node = tree.SetName(node, at, KeyOf(name));
        return StatusOf(node);
    });
}

MuErrCode Address::Append(Name const & name) {
    if (Mu::IsNull(name))
        return Error;
    if (node == NoNode)
        return ErrMemoryFull;
    Mu::ConstSubstring const key = KeyOf(name);
    Turn const tree;
    tree->Claim(node);
    node = tree->Append(node, key);
    return GetStatus();
}

MuErrCode Address::Append(Address const & other) {
    if (Mu::IsNull(other))
        return Error;
    if (node == NoNode || other.node == NoNode)
        return ErrMemoryFull;
    Turn const tree;
    tree->Claim(node);
    node = tree->AppendPath(node, other.node, 0, false);
    return GetStatus();
}

MuErrCode Address::DeleteName(unsigned int index) {
    return RemoveName(node, index);
}

MuErrCode Address::DeleteLastName() {
    return RemoveName(node, LastIndex());
}

MuErrCode Address::EnumerateNames(NameEnumerator * enumerator) const {
    if (enumerator == nullptr)
        return Error;
    if (node == NoNode)
        return ErrMemoryFull;
    Address const held(*this); // the receiver may change or destroy this address
    Turn const tree;
    PathNodes const path(*tree, node);
    Name name;
    MuErrCode status = WithoutException([&] {
        name.SetCapacity(32);
        return NoError;
    });
    for (unsigned int i = 0; i < path.GetLength() && status == NoError; ++i) {
        status = WithoutException([&] {
            tree->ReadStoredName(path[i], name.text);
            return NoError;
        });
        if (status == NoError)
            enumerator->NameFound(name);
    }
    return status;
}

bool Address::AreSameNames(unsigned int a, unsigned int b) {
    if (a == NoNode || b == NoNode || AddressTree::AreSurelyDifferent(a, b))
        return false;
    return Turn()->IsSamePath(a, b);
}

// Compares letter by letter. Needs no memory.
bool Address::IsOneName(char16_t const * name) const {
    if (GetLength() != 1)
        return false;
    Turn const tree;
    NameReader reader(tree->GetNames(), tree->GetNodes()[node].name);
    for (;; ++name) {
        unsigned short const unit = reader.Next();
        if (unit != *name)
            return false;
        if (unit == 0)
            return true;
    }
}

// Whether the first names are those of `start`. Needs no memory.
bool Address::BeginsWith(Address const & start) const {
    if (node == NoNode || start.node == NoNode || start.GetLength() > GetLength())
        return false;
    Turn const tree;
    return tree->IsSamePath(tree->GetAncestor(node, GetLength() - start.GetLength()), start.node);
}

bool Address::operator<(Address const & other) const {
    if (node == other.node || node == NoNode || other.node == NoNode)
        return false;
    return Turn()->IsPathLess(node, other.node);
}

unsigned int Address::GenerateHashValue() const {
    return AddressTree::HashOf(node);
}

void Address::CleanUp() {
    Turn()->CleanUp();
}

void Address::PrintAddressTree(Mu::OChannel & channel) {
    if (!Mu::IsNull(channel))
        Turn()->Print(channel);
}

} // namespace IO
