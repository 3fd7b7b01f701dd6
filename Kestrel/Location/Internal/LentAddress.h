#pragma once

#include <Kestrel/Location/Address.h>

#include <utility>

namespace IO {

/// An address that its owner keeps as the bare number of a node, for as long as this lives. The
/// owner's number is up to date again afterwards.
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

/// The same for reading alone.
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
