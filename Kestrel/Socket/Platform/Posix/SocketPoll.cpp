// The behaviour of select on Windows, by poll.

#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Time/Clock.h>
#include <Kestrel/Socket/Platform/Posix/PosixSocketCalls.h>
#include <Kestrel/Socket/Platform/Posix/SocketAddresses.h>
#include <Kestrel/Socket/Platform/Posix/SocketErrors.h>

#include <bit>
#include <cerrno>
#include <memory>
#include <poll.h>
#include <sys/ioctl.h>

namespace IO::Socket {
namespace {

struct FreeList {
    void operator()(pollfd * list) const { Mu::DeleteOperator(list); }
};

short GetEvents(unsigned char wanted) {
    return static_cast<short>((wanted & PollEvent::Read ? POLLIN : 0) |
                              (wanted & PollEvent::Write ? POLLOUT : 0) |
                              (wanted & PollEvent::Except ? POLLPRI : 0));
}

bool HasBytes(int descriptor) {
    int count = 0;
    return ::ioctl(descriptor, FIONREAD, &count) == 0 && count > 0;
}

bool IsInline(int descriptor) {
    int value = 0;
    socklen_t size = sizeof(value);
    return ::getsockopt(descriptor, SOL_SOCKET, SO_OOBINLINE, &value, &size) == 0 && value != 0;
}

// poll reports an error for all events. It is distinguished from the other ones, so that a failed
// connection is not taken for an established one, and received bytes are not dropped.
unsigned char GetErrorReady(pollfd const & found, unsigned char wanted) {
    if ((wanted & PollEvent::Read) != 0 && HasBytes(found.fd))
        return PollEvent::Read;
    return wanted & PollEvent::Except ? PollEvent::Except : wanted;
}

unsigned char GetReady(pollfd const & found, unsigned char wanted) {
    if (found.revents & POLLERR)
        return GetErrorReady(found, wanted);
    unsigned int ready = 0;
    if (found.revents & POLLIN) // also at the end of a connection
        ready |= PollEvent::Read;
    if (found.revents & POLLOUT)
        ready |= PollEvent::Write;
    if ((found.revents & POLLPRI) != 0 && !IsInline(found.fd))
        ready |= PollEvent::Except;
    return static_cast<unsigned char>(ready & wanted);
}

// The remaining time of a wait, which the system's call does not report if a signal ends it early.
class WaitTime {
public:
    explicit WaitTime(long long microseconds)
        : left(microseconds), start(microseconds > 0 ? Now() : 0) {}

    /// Null: without limit.
    timespec const * Get() {
        if (left < 0)
            return nullptr;
        time = {static_cast<time_t>(left / 1000000), static_cast<long>(left % 1000000 * 1000)};
        return &time;
    }
    void Pass() {
        if (left <= 0)
            return;
        unsigned long long const now = Now();
        long long const passed = static_cast<long long>(now - start);
        left = passed < left ? left - passed : 0;
        start = now;
    }

private:
    static unsigned long long Now() { return Mu::GetClock().GetMonotonicMicroseconds(); }

    long long left;
    unsigned long long start;
    timespec time{};
};

unsigned int PollOnce(pollfd * list, unsigned int count, WaitTime & time) {
    while (::ppoll(list, count, time.Get(), nullptr) < 0) {
        if (errno != EINTR)
            return GetLastSocketError();
        time.Pass();
    }
    for (unsigned int i = 0; i < count; ++i)
        if (list[i].revents & POLLNVAL)
            return WSAError::NotSocket;
    return WSAError::None;
}

unsigned int CountReady(PollEntry * entries, pollfd const * list, unsigned int count) {
    unsigned int ready = 0;
    for (unsigned int i = 0; i < count; ++i) {
        if (list[i].revents == 0)
            continue;
        entries[i].ready = GetReady(list[i], entries[i].wanted);
        ready += static_cast<unsigned int>(std::popcount(entries[i].ready));
    }
    return ready;
}

// Removes events that the system reports although they are not wanted, since they would end each
// further wait at once. Returns whether there were any.
bool PassOver(pollfd * list, unsigned int count) {
    bool found = false;
    for (unsigned int i = 0; i < count; ++i) {
        if (list[i].revents == 0)
            continue;
        found = true;
        if (list[i].revents & POLLPRI)
            list[i].events &= static_cast<short>(~POLLPRI);
        else
            list[i].fd = -1;
    }
    return found;
}

unsigned int PollList(PollEntry * entries, pollfd * list, unsigned int count,
                      long long microseconds, unsigned int * ready) {
    WaitTime time(microseconds);
    for (;;) {
        if (unsigned int const error = PollOnce(list, count, time); error != WSAError::None)
            return error;
        *ready = CountReady(entries, list, count);
        if (*ready != 0 || !PassOver(list, count))
            return WSAError::None;
        time.Pass();
    }
}

} // namespace

unsigned int PosixSocketCalls::Poll(PollEntry * entries, unsigned int count, long long microseconds,
                                    unsigned int * ready) {
    constexpr unsigned int FewEntries = 64;
    pollfd few[FewEntries];
    std::unique_ptr<pollfd, FreeList> many;
    *ready = 0;
    unsigned int wanted = 0;
    for (unsigned int i = 0; i < count; ++i) {
        entries[i].ready = 0;
        wanted |= entries[i].wanted;
    }
    if (wanted == 0)
        return WSAError::Invalid;
    if (count > FewEntries) {
        many.reset(static_cast<pollfd *>(Mu::NewOperator(count * sizeof(pollfd))));
        if (many == nullptr)
            return WSAError::NoBuffers;
    }
    pollfd * const list = many != nullptr ? many.get() : few;
    for (unsigned int i = 0; i < count; ++i) {
        list[i] = {ToDescriptor(entries[i].socket), GetEvents(entries[i].wanted), 0};
        if (list[i].fd < 0)
            return WSAError::NotSocket; // the system would ignore it
        if (entries[i].wanted == 0)
            list[i].fd = -1;
    }
    return PollList(entries, list, count, microseconds, ready);
}

} // namespace IO::Socket
