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

} // namespace Tests
