#include <Kestrel/Socket/Platform/Posix/Netlink.h>

#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Socket/Platform/Posix/SocketErrors.h>
#include <Kestrel/Socket/Platform/SocketCallTypes.h>

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace IO::Socket {

namespace {

// The kernel sends at most this at once, except for a single message that is longer.
constexpr std::size_t PieceSize = 32768;
// How often a list that changes while it is read is requested; then the last one is used.
constexpr int MostTries = 4;

class NetlinkSocket {
public:
    NetlinkSocket() : socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {
        // Lets the kernel omit what the header does not request. Old ones send everything.
        int const on = 1;
        if (socket >= 0)
            (void)::setsockopt(socket, SOL_NETLINK, NETLINK_GET_STRICT_CHK, &on, sizeof(on));
    }
    ~NetlinkSocket() {
        if (socket >= 0)
            ::close(socket);
    }
    NetlinkSocket(NetlinkSocket const &) = delete;
    NetlinkSocket & operator=(NetlinkSocket const &) = delete;

    int Get() const { return socket; }

private:
    int socket;
};

bool Send(int netlink, unsigned short request, void const * header, std::size_t size) {
    alignas(nlmsghdr) char buffer[64] = {};
    auto const message = reinterpret_cast<nlmsghdr *>(buffer);
    message->nlmsg_len = static_cast<unsigned int>(NLMSG_LENGTH(size));
    message->nlmsg_type = request;
    message->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message->nlmsg_seq = 1;
    std::memcpy(buffer + NLMSG_LENGTH(0), header, std::min(size, sizeof(buffer) - NLMSG_LENGTH(0)));
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    return Retry([&] {
               return ::sendto(netlink, buffer, message->nlmsg_len, MSG_NOSIGNAL,
                               reinterpret_cast<sockaddr *>(&kernel), sizeof(kernel));
           }) >= 0;
}

} // namespace

NetlinkDump::~NetlinkDump() {
    Mu::DeleteOperator(data);
}

void NetlinkDump::MakeRoom(std::size_t room) {
    if (capacity - length >= room)
        return;
    std::size_t const newCapacity = std::max(capacity * 2, length + room);
    void * const block = Mu::ReallocateOperator(data, newCapacity);
    if (block == nullptr)
        Mu::ThrowOutOfMemory();
    data = static_cast<char *>(block);
    capacity = newCapacity;
}

unsigned int NetlinkDump::Fetch(unsigned short request, void const * header, std::size_t size) {
    unsigned int error = 0;
    for (int tries = 0; tries < MostTries; ++tries)
        if (FetchOnce(request, header, size, &error) != Outcome::Changed)
            return error;
    return error;
}

NetlinkDump::Outcome NetlinkDump::FetchOnce(unsigned short request, void const * header,
                                            std::size_t size, unsigned int * error) {
    *error = 0;
    length = 0;
    NetlinkSocket const netlink; // a new one, without pending messages of an earlier try
    if (netlink.Get() < 0 || !Send(netlink.Get(), request, header, size)) {
        *error = GetLastSocketError();
        return Outcome::Failed;
    }
    return Receive(netlink.Get(), error);
}

NetlinkDump::Outcome NetlinkDump::Receive(int netlink, unsigned int * error) {
    bool isDone = false;
    bool isChanged = false;
    std::size_t room = PieceSize;
    while (!isDone) {
        MakeRoom(room);
        sockaddr_nl sender{};
        iovec piece{data + length, room};
        msghdr parts{};
        parts.msg_name = &sender;
        parts.msg_namelen = sizeof(sender);
        parts.msg_iov = &piece;
        parts.msg_iovlen = 1;
        // Peeks first, since data that does not fit would be lost.
        ssize_t const waiting =
            Retry([&] { return ::recvmsg(netlink, &parts, MSG_PEEK | MSG_TRUNC); });
        if (waiting > static_cast<ssize_t>(room)) {
            room = static_cast<std::size_t>(waiting);
            continue;
        }
        ssize_t const received =
            waiting < 0 ? waiting : Retry([&] { return ::recvmsg(netlink, &parts, 0); });
        if (received < 0) {
            *error = GetLastSocketError();
            return Outcome::Failed;
        }
        bool const isFromKernel = sender.nl_pid == 0; // others may send, too
        if (isFromKernel && !Take(static_cast<std::size_t>(received), &isDone, &isChanged, error))
            return Outcome::Failed;
    }
    return isChanged ? Outcome::Changed : Outcome::Whole;
}

// Parses what was received last, and keeps it up to the end of the list. False for an error.
bool NetlinkDump::Take(std::size_t received, bool * isDone, bool * isChanged,
                       unsigned int * error) {
    std::size_t const end = length + received;
    while (end - length >= sizeof(nlmsghdr)) {
        auto const message = reinterpret_cast<nlmsghdr const *>(data + length);
        if (message->nlmsg_len < sizeof(nlmsghdr) || message->nlmsg_len > end - length)
            break;
        *isChanged = *isChanged || (message->nlmsg_flags & NLM_F_DUMP_INTR) != 0;
        if (message->nlmsg_type == NLMSG_DONE) {
            *isDone = true;
            return true;
        }
        if (message->nlmsg_type == NLMSG_ERROR) {
            auto const failure =
                reinterpret_cast<nlmsgerr const *>(data + length + NLMSG_LENGTH(0));
            bool const isWhole = message->nlmsg_len >= NLMSG_LENGTH(sizeof(nlmsgerr));
            *error = ToSocketError(isWhole ? -failure->error : EPROTO);
            return false;
        }
        length = std::min(end, length + NLMSG_ALIGN(message->nlmsg_len));
    }
    return true;
}

} // namespace IO::Socket
