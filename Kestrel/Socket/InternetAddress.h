#pragma once

#include <Kestrel/Root/Containers/PagedArray.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO::Socket {

/// An IPv4 address with its host name, once that is known, and name resolution in both directions.
///
/// It is used to connect and to listen, always together with a port. There is no IPv6: resolution
/// requests IPv4 addresses only. Two addresses are equal if their four bytes are, whatever their
/// names.
///
/// Memory:  the host name's; none while it is unknown.
/// Threads: any number of readers, or one writer. GetHostName is a writer: it caches the name.
/// Failure: exceptions, as documented with each operation; Mu::OutOfMemoryException from everything
///          that returns a text or an address with a name. An address has no failed state.
class KESTREL_API InternetAddress : public Mu::Allocated {
public:
    /// The four bytes from left to right: 10, 1, 2, 3 is 10.1.2.3.
    InternetAddress(unsigned char first, unsigned char second, unsigned char third,
                    unsigned char fourth) noexcept
        : address{first, second, third, fourth} {}
    /// Four bytes from memory. For pointers from elsewhere: checks with the system whether the
    /// bytes can be read, which is slow. Throws Mu::IllegalArgumentException for null and for
    /// memory that cannot be read.
    explicit InternetAddress(unsigned char const * address);

    InternetAddress(InternetAddress const &) = default;
    InternetAddress(InternetAddress && other) noexcept = default;
    InternetAddress & operator=(InternetAddress const &) = default;
    InternetAddress & operator=(InternetAddress && other) noexcept = default;
    ~InternetAddress() = default;

    /// 0.0.0.0, with the host name "0.0.0.0": for a server any address of this machine, and no
    /// address where an address is optional. Exists from the library's start to its end.
    static InternetAddress const & Any;
    /// 127.0.0.1, "localhost".
    static InternetAddress const & Loopback;

    /// The four bytes; valid as long as the object.
    unsigned char const * GetAddress() const { return address; }
    /// The dotted form, without leading zeros.
    Mu::String GetHostAddress() const;
    /// The name of the host. Queries the resolver unless the name is known, and blocks meanwhile.
    /// Returns the dotted form if there is no name; the next call then queries again.
    Mu::String GetHostName();

    /// The name of this machine; "localhost" if the system does not report one.
    static Mu::String GetLocalHostName();

    /// Parses four decimal numbers separated by dots. Returns false for fewer, and leaves `address`
    /// unchanged. Numbers above 255 are reduced to their low byte, and anything after the fourth is
    /// ignored. For the syntax of the system's resolver, use IsHostAddress.
    static bool ParseHostAddress(Mu::UniString const & text, unsigned char (&address)[4]);
    /// Whether GetByAddress takes the text. Throws Mu::IllegalArgumentException for an empty one.
    static bool IsHostAddress(Mu::String const & text);
    /// The address that the text denotes, without a resolver: one to four numbers separated by
    /// dots, decimal, octal after "0" or hexadecimal after "0x", of which the last one fills the
    /// remaining bytes; the text ends at the first white space. Throws Mu::IllegalArgumentException
    /// for an empty text and UnknownHostException for any other that is not an address, such as one
    /// that contains a zero byte; 255.255.255.255 is not accepted either.
    static InternetAddress GetByAddress(Mu::String const & text);
    /// Like the constructor from memory.
    static InternetAddress GetByAddress(unsigned char const * address);
    /// Appends the addresses of the name in the resolver's order, and returns their number. A
    /// dotted address resolves to itself, and the empty name to Loopback without a query. Usually
    /// only the first address has a host name. Blocks as long as the resolver does. Throws
    /// UnknownHostException; the previous content of `result` remains after any failure.
    static unsigned int GetAllByName(Mu::String const & name,
                                     Mu::PagedArray<InternetAddress> & result);
    /// The first result of GetAllByName. Throws UnknownHostException if there is none.
    static InternetAddress GetByName(Mu::String const & name);
    /// The address by which others reach this machine: what its name resolves to, or else its first
    /// private address, its first other address, or 127.0.0.1. Throws UnknownHostException.
    static InternetAddress GetLocalHost();

    /// Whether it is 0.0.0.0.
    bool IsAnyAddress() const;
    /// Whether it is 127.0.0.1; false for 127.0.0.2.
    bool IsLookbackAddress() const;
    /// Whether it is 169.254.x.x.
    bool IsLinkLocalAddress() const;
    /// Whether the first byte is 224 to 240.
    bool IsMulticastAddress() const;
    /// Whether it is 10.x.x.x, 172.16.x.x to 172.31.x.x or 192.168.x.x.
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
