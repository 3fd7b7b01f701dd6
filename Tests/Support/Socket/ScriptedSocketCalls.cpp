#include "Tests/Support/Socket/ScriptedSocketCalls.h"

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

} // namespace Tests
