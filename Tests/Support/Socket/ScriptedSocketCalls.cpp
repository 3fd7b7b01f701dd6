#include "Tests/Support/Socket/ScriptedSocketCalls.h"

#include <algorithm>
#include <iterator>

namespace Tests {
namespace {

#if defined(_WIN32) // where each round costs many times what it does elsewhere
constexpr unsigned int sweptErrors[] = {WSAError::WouldBlock, PollFindsExcept};
#else
constexpr unsigned int sweptErrors[] = {WSAError::WouldBlock,
                                        WSAError::ConnectionReset,
                                        WSAError::ConnectionRefused,
                                        WSAError::NoBuffers,
                                        WSAError::AddressInUse,
                                        WSAError::NotSocket,
                                        PollTimesOut,
                                        PollFindsExcept};
#endif

class SocketCallFaults : public FaultSource {
public:
    char const * GetName() const override { return "socketcall"; }
    unsigned int CountWays() const override { return std::size(sweptErrors); }
    void Arm(Fault const & fault) override {
        calls.Arm(SocketCall::Any, fault, sweptErrors[fault.way], sweptErrors[fault.laterWay]);
    }
    bool Disarm() override { return calls.Clear(); }
    long long CountHeld() const override { return calls.CountOpen(); }

private:
    ScriptedSocketCalls calls;
};

} // namespace

void SweepSocketCalls(std::function<void(bool failed)> const & scenario) {
    SocketCallFaults faults;
    SweepFaults(faults, scenario);
}

ScriptedSocketCalls::ScriptedSocketCalls() : ForwardingSocketCalls(SetSocketCalls(this)) {}

ScriptedSocketCalls::~ScriptedSocketCalls() {
    SetSocketCalls(&GetBelow());
}

void ScriptedSocketCalls::Fail(SocketCall kind, unsigned int n, unsigned int error, bool onwards) {
    Arm(kind, {n, 0, onwards, 0, 0}, error, error);
}

void ScriptedSocketCalls::Arm(SocketCall kind, Fault const & fault, unsigned int error,
                              unsigned int laterError) {
    failing = kind;
    firstError = error;
    secondError = laterError;
    faults.Arm(fault);
}

void ScriptedSocketCalls::ResetCounts() {
    std::fill(std::begin(counts), std::end(counts), 0);
}

unsigned int ScriptedSocketCalls::Meet(SocketCall kind) {
    ++counts[static_cast<unsigned int>(kind)];
    ++counts[static_cast<unsigned int>(SocketCall::Any)];
    if (failing != SocketCall::Any && failing != kind)
        return WSAError::None;
    FaultCounter::Hit const hit = faults.Count();
    if (hit == FaultCounter::Hit::None)
        return WSAError::None;
    unsigned int const error = hit == FaultCounter::Hit::First ? firstError : secondError;
    bool const isForPoll = error == PollTimesOut || error == PollFindsExcept;
    return isForPoll && kind != SocketCall::Poll ? WSAError::None : error;
}

template <typename Call>
unsigned int ScriptedSocketCalls::Make(SocketCall kind, SocketHandle * made, Call call) {
    unsigned int error = Meet(kind);
    *made = NoSocket;
    if (error == WSAError::None)
        error = call();
    open += error == WSAError::None;
    return error;
}

unsigned int ScriptedSocketCalls::Socket(int type, SocketHandle * made) {
    return Make(SocketCall::Socket, made,
                [&] { return ForwardingSocketCalls::Socket(type, made); });
}

unsigned int ScriptedSocketCalls::CloseSocket(SocketHandle socket) {
    unsigned int const error = Meet(SocketCall::CloseSocket);
    unsigned int const real = ForwardingSocketCalls::CloseSocket(socket);
    open -= real == WSAError::None;
    return error != WSAError::None ? error : real;
}

unsigned int ScriptedSocketCalls::Accept(SocketHandle socket, SocketHandle * accepted,
                                         SocketAddress * peer) {
    unsigned int const error = Make(SocketCall::Accept, accepted, [&] {
        return ForwardingSocketCalls::Accept(socket, accepted, peer);
    });
    if (error == WSAError::None && peer != nullptr && family != 0)
        peer->family = family;
    return error;
}

// One that is under way comes to stand all the same.
unsigned int ScriptedSocketCalls::Connect(SocketHandle socket, SocketAddress const & address) {
    unsigned int const error = Meet(SocketCall::Connect);
    if (error != WSAError::None && error != WSAError::WouldBlock)
        return error;
    unsigned int const real = ForwardingSocketCalls::Connect(socket, address);
    return error != WSAError::None ? error : real;
}

unsigned int ScriptedSocketCalls::Send(SocketHandle socket, char const * source, unsigned int count,
                                       unsigned int * sent) {
    if (isRecording)
        sends.push_back(count);
    *sent = 0;
    if (unsigned int const error = Meet(SocketCall::Send); error != WSAError::None)
        return error;
    return ForwardingSocketCalls::Send(socket, source, std::min(count, maxSend.load()), sent);
}

unsigned int ScriptedSocketCalls::Recv(SocketHandle socket, char * destination, unsigned int count,
                                       unsigned int * received) {
    *received = 0;
    unsigned int const error = Meet(SocketCall::Recv);
    return error != WSAError::None
               ? error
               : ForwardingSocketCalls::Recv(socket, destination, count, received);
}

unsigned int ScriptedSocketCalls::Poll(PollEntry * entries, unsigned int count,
                                       long long microseconds, unsigned int * ready) {
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

unsigned int ScriptedSocketCalls::GetAvailable(SocketHandle socket, unsigned int * count) {
    *count = 0;
    unsigned int const error = Meet(SocketCall::GetAvailable);
    return error != WSAError::None ? error : ForwardingSocketCalls::GetAvailable(socket, count);
}

unsigned int ScriptedSocketCalls::GetSockName(SocketHandle socket, SocketAddress * address) {
    if (unsigned int const error = Meet(SocketCall::GetSockName); error != WSAError::None)
        return error;
    unsigned int const error = ForwardingSocketCalls::GetSockName(socket, address);
    if (family != 0)
        address->family = family;
    return error;
}

unsigned int ScriptedSocketCalls::CreateSignal(SocketHandle * signal) {
    return Make(SocketCall::CreateSignal, signal,
                [&] { return ForwardingSocketCalls::CreateSignal(signal); });
}

unsigned int ScriptedSocketCalls::CloseSignal(SocketHandle signal) {
    unsigned int const error = Meet(SocketCall::CloseSignal);
    unsigned int const real = ForwardingSocketCalls::CloseSignal(signal);
    open -= real == WSAError::None;
    return error != WSAError::None ? error : real;
}

unsigned int ScriptedSocketCalls::GetAddrInfo(char const * name, AddressList * list) {
    *list = nullptr;
    unsigned int error = Meet(SocketCall::GetAddrInfo);
    if (error == WSAError::None)
        error = ForwardingSocketCalls::GetAddrInfo(name, list);
    open += *list != nullptr;
    return error;
}

void ScriptedSocketCalls::FreeAddrInfo(AddressList list) {
    open -= list != nullptr;
    ForwardingSocketCalls::FreeAddrInfo(list);
}

// The rest fail or are made, and have nothing to keep straight.
#define KESTREL_TEST_CALL(Name, Parameters, ...)                                                   \
    unsigned int ScriptedSocketCalls::Name Parameters {                                            \
        unsigned int const error = Meet(SocketCall::Name);                                         \
        return error != WSAError::None ? error : ForwardingSocketCalls::Name(__VA_ARGS__);         \
    }

KESTREL_TEST_CALL(Shutdown, (SocketHandle socket, int direction), socket, direction)
KESTREL_TEST_CALL(Bind, (SocketHandle socket, SocketAddress const & address), socket, address)
KESTREL_TEST_CALL(Listen, (SocketHandle socket, int backlog), socket, backlog)
KESTREL_TEST_CALL(SetNonBlocking, (SocketHandle socket, bool isOn), socket, isOn)
KESTREL_TEST_CALL(GetSockOpt, (SocketHandle socket, int level, int name, int * value), socket,
                  level, name, value)
KESTREL_TEST_CALL(SetSockOpt, (SocketHandle socket, int level, int name, int value), socket, level,
                  name, value)
KESTREL_TEST_CALL(GetLinger, (SocketHandle socket, LingerTime * time), socket, time)
KESTREL_TEST_CALL(SetLinger, (SocketHandle socket, LingerTime time), socket, time)

#undef KESTREL_TEST_CALL

} // namespace Tests
