#pragma once

namespace IO::Socket {

/// An open socket of the system.
using SocketHandle = unsigned long long;
inline constexpr SocketHandle NoSocket = ~0ull;

/// The address of a socket or of its peer; the only kind here is IPv4 with a port.
struct SocketAddress {
    unsigned short family; ///< InternetFamily, or the one reported by the system
    unsigned short port;   ///< as a number, in the host's byte order
    unsigned char address[4];
};

inline constexpr unsigned short InternetFamily = 2;

namespace SocketType {
inline constexpr int Stream = 1;
inline constexpr int Datagram = 2;
} // namespace SocketType

namespace ShutdownDirection {
inline constexpr int Receive = 0;
inline constexpr int Send = 1;
inline constexpr int Both = 2;
} // namespace ShutdownDirection

// The levels and names of the options, with the numbers of Windows.
namespace OptionLevel {
inline constexpr int IP = 0;
inline constexpr int TCP = 6;
inline constexpr int Socket = 0xFFFF;
} // namespace OptionLevel

namespace OptionName {
// of the level Socket
inline constexpr int ReuseAddress = 4;
inline constexpr int KeepAlive = 8;
inline constexpr int Broadcast = 0x20;
inline constexpr int Linger = 0x80; ///< by GetLinger and SetLinger
inline constexpr int OOBInline = 0x100;
inline constexpr int SendBufferSize = 0x1001;
inline constexpr int ReceiveBufferSize = 0x1002;
inline constexpr int Error = 0x1007; ///< read only; reading it resets it
// of the level IP
inline constexpr int TypeOfService = 3;
inline constexpr int MulticastLoop = 11;
// of the level TCP
inline constexpr int NoDelay = 1;
} // namespace OptionName

struct LingerTime {
    unsigned short isOn;
    unsigned short seconds;
};

/// The events that Poll waits for at a socket, and those that it reports.
namespace PollEvent {
/// Bytes, a connection to accept, or the peer's end: a call that reads does not block.
inline constexpr unsigned char Read = 1;
/// Room to send, or a requested connection is established.
inline constexpr unsigned char Write = 2;
/// A requested connection failed, an error is pending and no bytes precede it, or out-of-band data
/// was received that is not to be inline.
inline constexpr unsigned char Except = 4;
} // namespace PollEvent

struct PollEntry {
    SocketHandle socket;
    unsigned char wanted; ///< PollEvent bits
    unsigned char ready;  ///< some of `wanted`
};

/// One entry of the result of GetAddrInfo.
struct AddressInfo {
    int family;
    SocketAddress address;      ///< zeros unless the family is InternetFamily
    char const * canonicalName; ///< null, or valid until FreeAddrInfo
};

/// The result of GetAddrInfo, and a place in it. Null is the end.
using AddressList = void *;

/// The numbers of the errors that the library distinguishes or reports itself. There may be others.
namespace WSAError {
inline constexpr unsigned int None = 0;
inline constexpr unsigned int NotEnoughMemory = 8;
inline constexpr unsigned int Access = 10013;
inline constexpr unsigned int Fault = 10014;
inline constexpr unsigned int Invalid = 10022;
inline constexpr unsigned int TooManyFiles = 10024;
inline constexpr unsigned int WouldBlock = 10035;
inline constexpr unsigned int InProgress = 10036;
inline constexpr unsigned int Already = 10037;
inline constexpr unsigned int NotSocket = 10038;
inline constexpr unsigned int DestinationRequired = 10039;
inline constexpr unsigned int MessageSize = 10040;
inline constexpr unsigned int ProtocolType = 10041;
inline constexpr unsigned int NoProtocolOption = 10042;
inline constexpr unsigned int ProtocolNotSupported = 10043;
inline constexpr unsigned int SocketNotSupported = 10044;
inline constexpr unsigned int NotSupported = 10045;
inline constexpr unsigned int FamilyNotSupported = 10047;
inline constexpr unsigned int AddressInUse = 10048;
inline constexpr unsigned int AddressNotAvailable = 10049;
inline constexpr unsigned int NetDown = 10050;
inline constexpr unsigned int NetUnreachable = 10051;
inline constexpr unsigned int NetReset = 10052;
inline constexpr unsigned int ConnectionAborted = 10053;
inline constexpr unsigned int ConnectionReset = 10054;
inline constexpr unsigned int NoBuffers = 10055;
inline constexpr unsigned int IsConnected = 10056;
inline constexpr unsigned int NotConnected = 10057;
inline constexpr unsigned int Shutdown = 10058;
inline constexpr unsigned int TimedOut = 10060;
inline constexpr unsigned int ConnectionRefused = 10061;
inline constexpr unsigned int HostDown = 10064;
inline constexpr unsigned int HostUnreachable = 10065;
inline constexpr unsigned int VersionNotSupported = 10092;
inline constexpr unsigned int NotInitialised = 10093;
inline constexpr unsigned int HostNotFound = 11001;
inline constexpr unsigned int TryAgain = 11002;
inline constexpr unsigned int NoRecovery = 11003;
inline constexpr unsigned int NoData = 11004;
} // namespace WSAError

} // namespace IO::Socket
