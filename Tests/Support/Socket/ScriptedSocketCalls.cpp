#include "Tests/Support/Socket/ScriptedSocketCalls.h"

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

} // namespace

void SweepSocketCalls(std::function<void(bool failed)> const & scenario) {
    SweepCalls<ScriptedSocketCalls, SocketCall>("socketcall", sweptErrors, scenario);
}

ScriptedSocketCalls::ScriptedSocketCalls() : ForwardingSocketCalls(SetSocketCalls(this)) {}

ScriptedSocketCalls::~ScriptedSocketCalls() {
    SetSocketCalls(&GetBelow());
}

unsigned int ScriptedSocketCalls::Meet(SocketCall kind) {
    unsigned int const error = CallScript::Meet(kind).value_or(WSAError::None);
    bool const isForPoll = error == PollTimesOut || error == PollFindsExcept;
    return isForPoll && kind != SocketCall::Poll ? WSAError::None : error;
}

} // namespace Tests
