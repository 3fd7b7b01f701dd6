#include "Tests/Support/Socket/MadeInterfaces.h"

#include <Kestrel/Socket/Internal/DottedText.h>

namespace Tests {

using namespace IO::Socket;

void MadeInterfaces::Set(std::vector<std::vector<InternetAddress>> const & lists) {
    tables = InterfaceTables();
    for (auto const & list : lists) {
        unsigned int const index = tables.interfaces.GetSize() + 1;
        tables.interfaces.Push(
            {index, InterfaceType::Ethernet, 1500, AdminStatus::Up, OperStatus::Operational, {}});
        AdapterAddresses adapter{};
        adapter.index = index;
        unsigned int const count = static_cast<unsigned int>(list.size());
        adapter.unicasts = {tables.unicasts.GetSize(), count};
        adapter.prefixes = {tables.prefixLengths.GetSize(), count};
        for (InternetAddress const & address : list) {
            tables.unicasts.Push({InternetProtocolFamily,
                                  DadState::Preferred,
                                  ToNumber(address.GetAddress()),
                                  {BroadcastRule::Form::HostOnes, 0}});
            tables.prefixLengths.Push(24);
        }
        tables.adapters.Push(adapter);
    }
}

// Each hands out its own part.

unsigned int MadeInterfaces::GetIfTable(InterfaceTables & result) {
    calls.push_back(0);
    result.interfaces = tables.interfaces;
    return failing == 0 ? error : 0;
}

unsigned int MadeInterfaces::GetIpAddrTable(InterfaceTables & result) {
    calls.push_back(1);
    result.addresses = tables.addresses;
    return failing == 1 ? error : 0;
}

unsigned int MadeInterfaces::GetAdaptersAddresses(InterfaceTables & result) {
    calls.push_back(2);
    result.adapters = tables.adapters;
    result.unicasts = tables.unicasts;
    result.prefixLengths = tables.prefixLengths;
    return failing == 2 ? error : 0;
}

unsigned int MadeInterfaces::GetAdaptersInfo(InterfaceTables & result) {
    calls.push_back(3);
    result.infos = tables.infos;
    result.infoAddresses = tables.infoAddresses;
    result.gateways = tables.gateways;
    return failing == 3 ? error : 0;
}

} // namespace Tests
