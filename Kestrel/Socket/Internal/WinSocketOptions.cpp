#include <Kestrel/Socket/Internal/ErrorText.h>
#include <Kestrel/Socket/Internal/WinSocketImpl.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>
#include <Kestrel/Socket/SocketExceptions.h>

#include <iterator>

namespace IO::Socket {
namespace {

struct OptionRow {
    int level;
    int name;
    bool isBool;
};

// By the number of the option.
constexpr OptionRow optionRows[] = {
    {OptionLevel::IP, OptionName::MulticastLoop, true},
    {OptionLevel::IP, OptionName::TypeOfService, false},
    {OptionLevel::Socket, OptionName::Broadcast, true},
    {OptionLevel::Socket, OptionName::KeepAlive, true},
    {OptionLevel::Socket, OptionName::Linger, false},
    {OptionLevel::Socket, OptionName::OOBInline, true},
    {OptionLevel::Socket, OptionName::ReceiveBufferSize, false},
    {OptionLevel::Socket, OptionName::ReuseAddress, true},
    {OptionLevel::Socket, OptionName::SendBufferSize, false},
    {OptionLevel::TCP, OptionName::NoDelay, true},
};
static_assert(std::size(optionRows) == SocketImpl::TCPNoDelay + 1);

// Null if the number is not an option.
OptionRow const * FindRow(SocketImpl::Option option) {
    auto const number = static_cast<unsigned int>(option);
    return number < std::size(optionRows) ? &optionRows[number] : nullptr;
}

OptionRow const & GetBoolRow(SocketImpl::Option option) {
    OptionRow const * const row = FindRow(option);
    if (row == nullptr || !row->isBool)
        throw SocketException("The specified socket option is not a bool option.", __FILE__,
                              __LINE__);
    return *row;
}

OptionRow const & GetIntRow(SocketImpl::Option option) {
    OptionRow const * const row = FindRow(option);
    if (row == nullptr)
        throw SocketException("The specified socket option is not supported.", __FILE__, __LINE__);
    if (row->isBool)
        throw SocketException("The specified socket option is not an int option.", __FILE__,
                              __LINE__);
    return *row;
}

void CheckGet(unsigned int error) {
    if (error != WSAError::None)
        Throw<SocketException>("Failed to get socket option.", error);
}

void CheckSet(unsigned int error) {
    if (error != WSAError::None)
        Throw<SocketException>("Failed to set socket option.", error);
}

} // namespace

bool WinSocketImpl::GetBoolOption(Option option) {
    OptionRow const & row = GetBoolRow(option);
    int value;
    CheckGet(GetSocketCalls().GetSockOpt(SharedHandle::Use(handle).GetHandle(), row.level, row.name,
                                         &value));
    return value != 0;
}

void WinSocketImpl::SetBoolOption(Option option, bool value) {
    OptionRow const & row = GetBoolRow(option);
    CheckSet(GetSocketCalls().SetSockOpt(SharedHandle::Use(handle).GetHandle(), row.level, row.name,
                                         value));
}

int WinSocketImpl::GetIntOption(Option option) {
    OptionRow const & row = GetIntRow(option);
    if (option == Linger) {
        LingerTime time;
        CheckGet(GetSocketCalls().GetLinger(SharedHandle::Use(handle).GetHandle(), &time));
        return time.isOn != 0 ? time.seconds : -1;
    }
    int value;
    CheckGet(GetSocketCalls().GetSockOpt(SharedHandle::Use(handle).GetHandle(), row.level, row.name,
                                         &value));
    return value;
}

void WinSocketImpl::SetIntOption(Option option, int value) {
    OptionRow const & row = GetIntRow(option);
    if (option == Linger) {
        LingerTime const off{0, 0};
        LingerTime const on{1, static_cast<unsigned short>(value)};
        CheckSet(GetSocketCalls().SetLinger(SharedHandle::Use(handle).GetHandle(),
                                            value < 0 ? off : on));
        return;
    }
    CheckSet(GetSocketCalls().SetSockOpt(SharedHandle::Use(handle).GetHandle(), row.level, row.name,
                                         value));
}

} // namespace IO::Socket
