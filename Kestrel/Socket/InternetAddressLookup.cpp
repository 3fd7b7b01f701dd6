// From host names to addresses and back.

#include <Kestrel/Socket/InternetAddress.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Socket/Internal/DottedText.h>
#include <Kestrel/Socket/Internal/ErrorText.h>
#include <Kestrel/Socket/NetworkInterface.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>
#include <Kestrel/Socket/SocketExceptions.h>

namespace IO::Socket {

namespace {

// The resolver's limits for the names of hosts and services, with their terminators.
constexpr unsigned int HostNameSize = 1025;
constexpr unsigned int ServiceNameSize = 32;
constexpr unsigned int LocalNameSize = 1024;

// NoInetAddr also for a text with a zero byte, of which only the part before it would be read.
unsigned int ReadAddress(Mu::String const & text) {
    if (text.IsEmpty())
        throw Mu::IllegalArgumentException("Invalid host address: address is empty.", __FILE__,
                                           __LINE__);
    return HasZero(text) ? NoInetAddr : InetAddr(text.ToCStr());
}

Mu::UniString GetFailureText(Mu::String const & name) {
    return Mu::UniString::Printf("Failed to resolve host name with name service: '%s'.", name);
}

/// The resolver's list, freed at the end.
class FoundAddresses {
public:
    explicit FoundAddresses(Mu::String const & name) {
        unsigned int const error = HasZero(name)
                                       ? WSAError::HostNotFound // the resolver would truncate it
                                       : calls.GetAddrInfo(name.ToCStr(), &list);
        if (error != WSAError::None)
            throw UnknownHostException(GetErrorText(GetFailureText(name), error), __FILE__,
                                       __LINE__);
    }
    ~FoundAddresses() {
        if (list != nullptr)
            calls.FreeAddrInfo(list);
    }
    FoundAddresses(FoundAddresses const &) = delete;
    FoundAddresses & operator=(FoundAddresses const &) = delete;

    bool IsMissing() const { return list == nullptr; }

    template <typename Visitor>
    void ForEach(Visitor visit) const {
        for (AddressList place = list; place != nullptr;) {
            AddressInfo entry{};
            calls.ReadAddrInfo(&place, &entry);
            visit(entry);
        }
    }

private:
    SocketCalls & calls = GetSocketCalls();
    AddressList list = nullptr;
};

bool GetMachineName(char (&name)[LocalNameSize]) {
    bool const isKnown = GetSocketCalls().GetHostName(name, LocalNameSize) == WSAError::None;
    name[LocalNameSize - 1] = 0;
    return isKnown;
}

/// The address of this machine's interfaces by which others would reach it. Null if there is none
/// but 127.0.0.1.
InternetAddress const * Choose(Mu::PagedArray<NetworkInterface> const & interfaces) {
    InternetAddress const * chosen = nullptr;
    for (NetworkInterface const & interface : interfaces) {
        if (!interface.IsUp())
            continue;
        for (InternetAddress const & address : interface.GetInternetAddresses()) {
            if (address.IsPrivateAddress())
                return &address;
            // An address of 0.0.0.0 means none, so that a later one replaces it.
            if (chosen == nullptr && !address.IsLookbackAddress() && !address.IsAnyAddress())
                chosen = &address;
        }
    }
    return chosen;
}

} // namespace

Mu::String InternetAddress::GetHostName() {
    if (isNameKnown)
        return name;
    SocketCalls & calls = GetSocketCalls();
    SocketAddress const here{InternetFamily, 0, {address[0], address[1], address[2], address[3]}};
    char host[HostNameSize];
    char service[ServiceNameSize];
    if (calls.GetNameInfo(here, host, HostNameSize, service, ServiceNameSize) != WSAError::None &&
        calls.GetHostByAddr(here.address, host, HostNameSize) != WSAError::None)
        return GetHostAddress();
    name = host;
    isNameKnown = true;
    return name;
}

Mu::String InternetAddress::GetLocalHostName() {
    char name[LocalNameSize];
    return GetMachineName(name) ? name : "localhost";
}

bool InternetAddress::IsHostAddress(Mu::String const & text) {
    return ReadAddress(text) != NoInetAddr;
}

InternetAddress InternetAddress::GetByAddress(Mu::String const & text) {
    unsigned int const number = ReadAddress(text);
    // Kept: 255.255.255.255 is rejected, since it is also the value by which the parser reports a
    // failure.
    if (number == NoInetAddr)
        throw UnknownHostException(Mu::UniString::Printf("Invalid host address: '%s'", text),
                                   __FILE__, __LINE__);
    unsigned char bytes[4];
    ToBytes(number, bytes);
    return InternetAddress(bytes[0], bytes[1], bytes[2], bytes[3]);
}

InternetAddress InternetAddress::GetByAddress(unsigned char const * address) {
    return InternetAddress(address);
}

unsigned int InternetAddress::GetAllByName(Mu::String const & name,
                                           Mu::PagedArray<InternetAddress> & result) {
    unsigned int const before = result.GetSize();
    if (name.IsEmpty()) {
        result.Push(Loopback);
        return 1;
    }
    FoundAddresses const found(name);
    if (found.IsMissing())
        throw UnknownHostException(GetFailureText(name), __FILE__, __LINE__);
    try {
        found.ForEach([&](AddressInfo const & entry) {
            if (entry.family == InternetFamily)
                result.Push(InternetAddress(entry.address.address, entry.canonicalName));
        });
    } catch (...) {
        while (result.GetSize() > before)
            result.DeleteLast();
        throw;
    }
    return result.GetSize() - before;
}

InternetAddress InternetAddress::GetByName(Mu::String const & name) {
    Mu::PagedArray<InternetAddress> found;
    if (GetAllByName(name, found) == 0)
        throw UnknownHostException(GetFailureText(name), __FILE__, __LINE__);
    return found[0];
}

InternetAddress InternetAddress::GetLocalHost() {
    char name[LocalNameSize];
    if (!GetMachineName(name))
        return Loopback;
    Mu::String const host(name);
    try {
        return GetByName(host);
    } catch (UnknownHostException const &) { // try the interfaces next
    }
    try {
        if (host == "localhost")
            return Loopback;
        Mu::PagedArray<NetworkInterface> interfaces;
        if (NetworkInterface::GetNetworkInterfaces(interfaces) == 0)
            throw UnknownHostException(GetFailureText(host) + " Network interfaces not found.",
                                       __FILE__, __LINE__);
        InternetAddress const * const chosen = Choose(interfaces);
        InternetAddress local = chosen != nullptr ? *chosen : InternetAddress(127, 0, 0, 1);
        local.SetName(name);
        return local;
    } catch (UnknownHostException const &) {
        throw;
    } catch (Mu::OutOfMemoryException const &) {
        throw;
    } catch (Mu::MuException const &) {
        throw UnknownHostException(GetFailureText(host), __FILE__, __LINE__);
    }
}

} // namespace IO::Socket
