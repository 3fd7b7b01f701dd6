#pragma once

#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Socket/Platform/ForwardingSocketCalls.h>

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
class ScriptedSocketCalls : public ForwardingSocketCalls {
public:
    ScriptedSocketCalls();
    ~ScriptedSocketCalls() override;

    /// The n-th call of the kind from now on fails, and all behind it when `onwards`.
    void Fail(SocketCall kind, unsigned int n, unsigned int error, bool onwards = false);
    void Arm(SocketCall kind, Fault const & fault, unsigned int error, unsigned int laterError);
    /// Nothing fails any more. Whether the n-th call was met.
    bool Clear() { return faults.Disarm(); }

    unsigned int Count(SocketCall kind) const { return counts[static_cast<unsigned int>(kind)]; }
    void ResetCounts();
    /// Sockets, signals and lists of addresses that were not given back.
    long long CountOpen() const { return open; }

    /// No call sends more at once.
    std::atomic<unsigned int> maxSend{~0u};
    /// How much each Send was asked for, while `isRecording`.
    std::vector<unsigned int> sends;
    bool isRecording = false;
    /// What GetSockName and Accept report as the family instead; 0: the truth.
    std::atomic<unsigned short> family{0};

    unsigned int Socket(int type, SocketHandle * made) override;
    unsigned int CloseSocket(SocketHandle socket) override;
    unsigned int Shutdown(SocketHandle socket, int direction) override;
    unsigned int Bind(SocketHandle socket, SocketAddress const & address) override;
    unsigned int Listen(SocketHandle socket, int backlog) override;
    unsigned int Accept(SocketHandle socket, SocketHandle * accepted,
                        SocketAddress * peer) override;
    unsigned int Connect(SocketHandle socket, SocketAddress const & address) override;
    unsigned int Send(SocketHandle socket, char const * source, unsigned int count,
                      unsigned int * sent) override;
    unsigned int Recv(SocketHandle socket, char * destination, unsigned int count,
                      unsigned int * received) override;
    unsigned int Poll(PollEntry * entries, unsigned int count, long long microseconds,
                      unsigned int * ready) override;
    unsigned int SetNonBlocking(SocketHandle socket, bool isOn) override;
    unsigned int GetAvailable(SocketHandle socket, unsigned int * count) override;
    unsigned int GetSockOpt(SocketHandle socket, int level, int name, int * value) override;
    unsigned int SetSockOpt(SocketHandle socket, int level, int name, int value) override;
    unsigned int GetLinger(SocketHandle socket, LingerTime * time) override;
    unsigned int SetLinger(SocketHandle socket, LingerTime time) override;
    unsigned int GetSockName(SocketHandle socket, SocketAddress * address) override;
    unsigned int CreateSignal(SocketHandle * signal) override;
    unsigned int CloseSignal(SocketHandle signal) override;
    unsigned int GetAddrInfo(char const * name, AddressList * list) override;
    void FreeAddrInfo(AddressList list) override;

private:
    /// The number that the call fails with; 0: it does not.
    unsigned int Meet(SocketCall kind);
    template <typename Call>
    unsigned int Make(SocketCall kind, SocketHandle * made, Call call);

    FaultCounter faults;
    std::atomic<SocketCall> failing{SocketCall::Any};
    std::atomic<unsigned int> firstError{0};
    std::atomic<unsigned int> secondError{0};
    std::atomic<unsigned int> counts[static_cast<unsigned int>(SocketCall::Any) + 1]{};
    std::atomic<long long> open{0};
};

/// SweepFaults over the socket calls: each fails by each number that the library tells apart, and
/// each wait ends too early or with an error at the socket.
void SweepSocketCalls(std::function<void(bool failed)> const & scenario);

} // namespace Tests
