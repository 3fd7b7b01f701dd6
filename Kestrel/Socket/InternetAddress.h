#pragma once

#include <Kestrel/Root/Containers/PagedArray.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO::Socket {

/// An IPv4 address with the host name that goes with it, once that is known; and the ways from names
/// to addresses and back.
///
/// For connecting and listening; a port always stands beside it. There is no IPv6: a resolution asks
/// for IPv4 only and drops everything else. Two addresses are equal when their four bytes are,
/// whatever their names.
///
/// Memory:  the host name's, none while it is unknown.
/// Threads: any number may read, one may change. GetHostName changes: it keeps what it found.
/// Failure: exceptions, as each operation says; Mu::OutOfMemoryException from all that hand out a
///          text or an address with a name. An address has no state of failure.
class KESTREL_API InternetAddress : public Mu::Allocated {
public:
    /// The four bytes as they are read from left to right: 10, 1, 2, 3 is 10.1.2.3.
    InternetAddress(unsigned char first, unsigned char second, unsigned char third,
                    unsigned char fourth) noexcept
        : address{first, second, third, fourth} {}
    /// Four bytes from memory. For bytes that come from elsewhere: asks the system whether they can
    /// be read, which is slow. Throws Mu::IllegalArgumentException for null and for memory that
    /// cannot be read.
    explicit InternetAddress(unsigned char const * address);

    InternetAddress(InternetAddress const &) = default;
    InternetAddress(InternetAddress && other) noexcept = default;
    InternetAddress & operator=(InternetAddress const &) = default;
    InternetAddress & operator=(InternetAddress && other) noexcept = default;
    ~InternetAddress() = default;

    /// 0.0.0.0, whose host name is "0.0.0.0": any address of this machine for a server, none at all
    /// where an address may be missing. There from the library's start to its end.
    static InternetAddress const & Any;
    /// 127.0.0.1, "localhost".
    static InternetAddress const & Loopback;

    /// The four bytes, good as long as the object.
    unsigned char const * GetAddress() const { return address; }
    /// The dotted form, without leading zeros.
    Mu::String GetHostAddress() const;
    /// The name of the host. Asks the resolver unless it is known, and blocks as long as that takes;
    /// the dotted form where there is no name, and the next call asks again.
    Mu::String GetHostName();

    /// The name of this machine; "localhost" where the system does not say.
    static Mu::String GetLocalHostName();

    /// Reads four decimal numbers with points between; false, and `address` is unchanged, for less.
    /// Numbers above 255 keep their low byte only, and what follows the fourth is not read. For
    /// the texts that the system's resolver takes, use IsHostAddress.
    static bool ParseHostAddress(Mu::UniString const & text, unsigned char (&address)[4]);
    /// Whether GetByAddress takes the text. Throws Mu::IllegalArgumentException for an empty one.
    static bool IsHostAddress(Mu::String const & text);
    /// The address that the text denotes, without a resolver: one to four numbers with points
    /// between, decimal, octal behind "0" or hexadecimal behind "0x", of which the last one fills
    /// the bytes that are left; up to the first white space. Throws Mu::IllegalArgumentException
    /// for an empty text and UnknownHostException for every other that is no address, also for one
    /// with a zero byte in it; 255.255.255.255 counts as none.
    static InternetAddress GetByAddress(Mu::String const & text);
    /// As the constructor from memory.
    static InternetAddress GetByAddress(unsigned char const * address);
    /// Appends the addresses that the system's resolver has for the name, in its order, and returns
    /// how many; dotted addresses resolve to themselves, and the empty name to Loopback without being
    /// looked up. Usually only the first one carries a host name. Blocks as long as the resolver
    /// does. Throws UnknownHostException; what was in `result` stays after any failure.
    static unsigned int GetAllByName(Mu::String const & name,
                                     Mu::PagedArray<InternetAddress> & result);
    /// The first of GetAllByName. Throws UnknownHostException where there is none.
    static InternetAddress GetByName(Mu::String const & name);
    /// The address under which others know this machine: what its name resolves to, or else its
    /// first private address, or its first other one, or 127.0.0.1. Throws UnknownHostException.
    static InternetAddress GetLocalHost();

    /// 0.0.0.0.
    bool IsAnyAddress() const;
    /// 127.0.0.1 only; 127.0.0.2 is none.
    bool IsLookbackAddress() const;
    /// 169.254.x.x.
    bool IsLinkLocalAddress() const;
    /// The first byte is 224 to 240.
    bool IsMulticastAddress() const;
    /// 10.x.x.x, 172.16.x.x to 172.31.x.x, 192.168.x.x.
    bool IsPrivateAddress() const;

private:
    InternetAddress(unsigned char first, unsigned char second, unsigned char third,
                    unsigned char fourth, char const * name);
    InternetAddress(unsigned char const * bytes, char const * hostName) : InternetAddress(bytes) {
        SetName(hostName);
    }
    void SetName(char const * name);
    friend void StartInternetAddresses();

    unsigned char address[4]; // most significant first
    bool isNameKnown = false;
    Mu::String name; // empty until known
};

KESTREL_API bool operator==(InternetAddress const & a, InternetAddress const & b);

} // namespace IO::Socket
