#pragma once

#include "Tests/Support/ScriptedCalls.h"

#include <Kestrel/Socket/Platform/ForwardingSocketCalls.h>

#include <algorithm>
#include <atomic>
#include <vector>

namespace Tests {

using namespace IO::Socket;

/// The calls that can be made to fail, or any of them.
enum class SocketCall : unsigned int {
    Socket,
    CloseSocket,
    Shutdown,
    Bind,
    Listen,
    Accept,
    Connect,
    Send,
    Recv,
    Poll,
    SetNonBlocking,
    GetAvailable,
    GetSockOpt,
    SetSockOpt,
    GetLinger,
    SetLinger,
    GetSockName,
    CreateSignal,
    CloseSignal,
    GetAddrInfo,
    Any
};

// Instead of a number: how Poll ends without a failure. Other calls do not fail by them.
inline constexpr unsigned int PollTimesOut = 1;
inline constexpr unsigned int PollFindsExcept = 2;

/// The real socket calls with faults in between. It is in use from its making to its end:
///
///     Tests::ScriptedSocketCalls calls;
///     calls.Fail(Tests::SocketCall::Send, 2, WSAError::NoBuffers); // the second one
///
/// What is closed is closed, even when that fails. Threads: any.
class ScriptedSocketCalls : public ForwardingSocketCalls, public CallScript<SocketCall> {
public:
    ScriptedSocketCalls();
    ~ScriptedSocketCalls() override;

    /// How much each Send was asked for, while `isRecording`.
    std::vector<unsigned int> sends;
    bool isRecording = false;
    /// What GetSockName and Accept report as the family instead; 0: the truth.
    std::atomic<unsigned short> family{0};

    unsigned int Socket(int type, SocketHandle * made) override {
        return Make(SocketCall::Socket, made,
                    [&] { return ForwardingSocketCalls::Socket(type, made); });
    }
    unsigned int CloseSocket(SocketHandle socket) override {
        return End(SocketCall::CloseSocket, ForwardingSocketCalls::CloseSocket(socket));
    }
    unsigned int Accept(SocketHandle socket, SocketHandle * accepted,
                        SocketAddress * peer) override {
        unsigned int const error = Make(SocketCall::Accept, accepted, [&] {
            return ForwardingSocketCalls::Accept(socket, accepted, peer);
        });
        if (error == WSAError::None && peer != nullptr && family != 0)
            peer->family = family;
        return error;
    }
    // One that is under way comes to stand all the same.
    unsigned int Connect(SocketHandle socket, SocketAddress const & address) override {
        unsigned int const error = Meet(SocketCall::Connect);
        if (error != WSAError::None && error != WSAError::WouldBlock)
            return error;
        unsigned int const real = ForwardingSocketCalls::Connect(socket, address);
        return error != WSAError::None ? error : real;
    }
    unsigned int Send(SocketHandle socket, char const * source, unsigned int count,
                      unsigned int * sent) override {
        if (isRecording)
            sends.push_back(count);
        *sent = 0;
        unsigned int const error = Meet(SocketCall::Send);
        return error != WSAError::None ? error
                                       : ForwardingSocketCalls::Send(socket, source, count, sent);
    }
    unsigned int Poll(PollEntry * entries, unsigned int count, long long microseconds,
                      unsigned int * ready) override {
        unsigned int const error = Meet(SocketCall::Poll);
        if (error == WSAError::None)
            return ForwardingSocketCalls::Poll(entries, count, microseconds, ready);
        *ready = 0;
        for (unsigned int i = 0; i < count; ++i)
            entries[i].ready = 0;
        if (error == PollTimesOut)
            return WSAError::None;
        if (error != PollFindsExcept)
            return error;
        entries[0].ready = entries[0].wanted & PollEvent::Except;
        *ready = entries[0].ready != 0;
        return WSAError::None;
    }
    unsigned int GetSockName(SocketHandle socket, SocketAddress * address) override {
        if (unsigned int const error = Meet(SocketCall::GetSockName); error != WSAError::None)
            return error;
        unsigned int const error = ForwardingSocketCalls::GetSockName(socket, address);
        if (family != 0)
            address->family = family;
        return error;
    }
    unsigned int CreateSignal(SocketHandle * signal) override {
        return Make(SocketCall::CreateSignal, signal,
                    [&] { return ForwardingSocketCalls::CreateSignal(signal); });
    }
    unsigned int CloseSignal(SocketHandle signal) override {
        return End(SocketCall::CloseSignal, ForwardingSocketCalls::CloseSignal(signal));
    }
    unsigned int GetAddrInfo(char const * name, AddressList * list) override {
        *list = nullptr;
        unsigned int error = Meet(SocketCall::GetAddrInfo);
        if (error == WSAError::None)
            error = ForwardingSocketCalls::GetAddrInfo(name, list);
        open += *list != nullptr;
        return error;
    }
    void FreeAddrInfo(AddressList list) override {
        open -= list != nullptr;
        ForwardingSocketCalls::FreeAddrInfo(list);
    }

// The rest fail or are made, and have nothing to keep straight.
#define KESTREL_TEST_CALL(Name, Parameters, WithoutResult, ...)                                    \
    unsigned int Name Parameters override {                                                        \
        unsigned int const error = Meet(SocketCall::Name);                                         \
        if (error == WSAError::None)                                                               \
            return ForwardingSocketCalls::Name(__VA_ARGS__);                                       \
        WithoutResult;                                                                             \
        return error;                                                                              \
    }

    KESTREL_TEST_CALL(Shutdown, (SocketHandle socket, int direction), (void)0, socket, direction)
    KESTREL_TEST_CALL(Bind, (SocketHandle socket, SocketAddress const & address), (void)0, socket,
                      address)
    KESTREL_TEST_CALL(Listen, (SocketHandle socket, int backlog), (void)0, socket, backlog)
    KESTREL_TEST_CALL(SetNonBlocking, (SocketHandle socket, bool isOn), (void)0, socket, isOn)
    KESTREL_TEST_CALL(Recv,
                      (SocketHandle socket, char * destination, unsigned int count,
                       unsigned int * received),
                      *received = 0, socket, destination, count, received)
    KESTREL_TEST_CALL(GetAvailable, (SocketHandle socket, unsigned int * count), *count = 0, socket,
                      count)
    KESTREL_TEST_CALL(GetSockOpt, (SocketHandle socket, int level, int name, int * value), (void)0,
                      socket, level, name, value)
    KESTREL_TEST_CALL(SetSockOpt, (SocketHandle socket, int level, int name, int value), (void)0,
                      socket, level, name, value)
    KESTREL_TEST_CALL(GetLinger, (SocketHandle socket, LingerTime * time), (void)0, socket, time)
    KESTREL_TEST_CALL(SetLinger, (SocketHandle socket, LingerTime time), (void)0, socket, time)
#undef KESTREL_TEST_CALL

private:
    /// The number that the call fails with; 0: it does not.
    unsigned int Meet(SocketCall kind);
    template <typename Call>
    unsigned int Make(SocketCall kind, SocketHandle * made, Call call) {
        unsigned int error = Meet(kind);
        *made = NoSocket;
        if (error == WSAError::None)
            error = call();
        open += error == WSAError::None;
        return error;
    }

    unsigned int End(SocketCall kind, unsigned int real) {
        open -= real == WSAError::None;
        unsigned int const error = Meet(kind);
        return error != WSAError::None ? error : real;
    }
};

/// SweepFaults over the socket calls: each fails by each number that the library tells apart, and
/// each wait ends too early or with an error at the socket.
void SweepSocketCalls(std::function<void(bool failed)> const & scenario);

} // namespace Tests
