#pragma once

#include <Kestrel/Location/Address.h>

#include <utility>

namespace IO {

/// An address that its owner stores as the bare number of a node, for the lifetime of this object,
/// whose end updates the owner's number.
///
/// Memory:  none.
/// Threads: as Address.
/// Failure: none of its own; an address that becomes invalid leaves Address::NoNode.
class LentAddress {
public:
    explicit LentAddress(unsigned int & node) noexcept : node(node), address(Address::Unset()) {
        address.node = node;
    }
    ~LentAddress() { node = std::exchange(address.node, Address::NoNode); }
    LentAddress(LentAddress const &) = delete;
    LentAddress & operator=(LentAddress const &) = delete;
    Address * operator->() { return &address; }
    Address & operator*() { return address; }

private:
    unsigned int & node;
    Address address;
};

/// The same for reading only.
class LentConstAddress {
public:
    explicit LentConstAddress(unsigned int node) noexcept : address(Address::Unset()) {
        address.node = node;
    }
    ~LentConstAddress() { address.node = Address::NoNode; }
    LentConstAddress(LentConstAddress const &) = delete;
    LentConstAddress & operator=(LentConstAddress const &) = delete;
    Address const * operator->() const { return &address; }
    Address const & operator*() const { return address; }

private:
    Address address;
};

inline LentAddress Lend(unsigned int & node) {
    return LentAddress(node);
}

inline LentConstAddress Lend(unsigned int const & node) {
    return LentConstAddress(node);
}

} // namespace IO
