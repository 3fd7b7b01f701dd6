#pragma once

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <cstddef>
#include <cstring>

namespace IO::Socket {

/// A list of the kernel's links, addresses or routes, as the messages that it sends.
class NetlinkDump {
public:
    NetlinkDump() = default;
    ~NetlinkDump();
    NetlinkDump(NetlinkDump const &) = delete;
    NetlinkDump & operator=(NetlinkDump const &) = delete;

    /// Requests the list again from the start if it changed meanwhile. `header` follows the
    /// message's own header, such as an ifinfomsg. Returns 0 or the error number. Throws
    /// Mu::OutOfMemoryException.
    template <typename Header, typename Visitor>
    unsigned int ForEach(unsigned short request, Header const & header, Visitor visit) {
        if (unsigned int const error = Fetch(request, &header, sizeof(header)); error != 0)
            return error;
        for (std::size_t at = 0; at < length;) {
            auto const message = reinterpret_cast<nlmsghdr const *>(data + at);
            if (message->nlmsg_len >= NLMSG_LENGTH(sizeof(Header)))
                visit(*message);
            at += NLMSG_ALIGN(message->nlmsg_len);
        }
        return 0;
    }

private:
    enum class Outcome { Whole, Changed, Failed };

    unsigned int Fetch(unsigned short request, void const * header, std::size_t size);
    Outcome FetchOnce(unsigned short request, void const * header, std::size_t size,
                      unsigned int * error);
    Outcome Receive(int netlink, unsigned int * error);
    bool Take(std::size_t received, bool * isDone, bool * isChanged, unsigned int * error);
    void MakeRoom(std::size_t room);

    char * data = nullptr;    // consecutive messages
    std::size_t length = 0;   // of the messages to use
    std::size_t capacity = 0; // of `data`
};

/// Calls `visit` with each attribute after the header of the message.
template <typename Header, typename Visitor>
void ForEachAttribute(nlmsghdr const & message, Visitor visit) {
    auto const start = reinterpret_cast<char const *>(&message);
    std::size_t at = NLMSG_LENGTH(0) + NLMSG_ALIGN(sizeof(Header));
    while (at + sizeof(rtattr) <= message.nlmsg_len) {
        auto const attribute = reinterpret_cast<rtattr const *>(start + at);
        if (attribute->rta_len < sizeof(rtattr) || attribute->rta_len > message.nlmsg_len - at)
            return;
        visit(*attribute);
        at += RTA_ALIGN(attribute->rta_len);
    }
}

inline char const * GetPayload(rtattr const & attribute) {
    return reinterpret_cast<char const *>(&attribute) + RTA_LENGTH(0);
}
inline std::size_t GetPayloadSize(rtattr const & attribute) {
    return attribute.rta_len - RTA_LENGTH(0);
}
/// The number in the attribute, in its own byte order; 0 if it is too short for one.
template <typename Number>
Number GetNumber(rtattr const & attribute) {
    Number number = 0;
    if (GetPayloadSize(attribute) >= sizeof(number))
        std::memcpy(&number, GetPayload(attribute), sizeof(number));
    return number;
}

} // namespace IO::Socket
