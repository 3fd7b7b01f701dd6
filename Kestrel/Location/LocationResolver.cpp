#include <Kestrel/Location/LocationResolver.h>

#include <Kestrel/Location/Internal/AddressPair.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace IO {

namespace {

LocationResolver * instance = nullptr;

} // namespace

LocationResolver::LocationResolver() {
    instance = this;
}

LocationResolver::~LocationResolver() {
    if (instance == this)
        instance = nullptr;
}

LocationResolver * LocationResolver::GetInstance() {
    return instance;
}

MuErrCode LocationResolver::ReadPDI(Mu::IChannel & channel, Location &) {
    return SkipPDI(channel);
}

MuErrCode LocationResolver::WritePDI(Mu::OChannel & channel, Location const &) {
    return WriteNoPDI(channel);
}

MuErrCode LocationResolver::SkipPDI(Mu::IChannel & channel) {
    unsigned int size = 0;
    MuErrCode const status = channel.Read(size);
    if (status != NoError)
        return status;
    return size > channel.GetReadLimit() ? Error : channel.Skip(size, nullptr);
}

MuErrCode LocationResolver::WriteNoPDI(Mu::OChannel & channel) {
    return channel.Write(0u);
}

bool LocationResolver::LocationToLogText(Location const & location, Mu::UniString * text) {
    return LocationToDisplayText(location, text);
}

void LocationResolver::SetContent(Location & location, unsigned short const * network,
                                  unsigned short const * local, Location::NetworkModel model) {
    location.SetContent(network, local, model);
}

void LocationResolver::SetContent(RelativeLocation & relative, unsigned short const * names) {
    relative.SetContent(names);
}

MuErrCode LocationResolver::AppendLocalNames(Location const & location, bool withAttachments,
                                             Mu::UniString * text) {
    return AddressPair::JoinNames(location.local, withAttachments, text);
}

Location::PDI * LocationResolver::GetPDI(Location const & location) {
    return location.GetPDI();
}

void LocationResolver::SetPDI(Location & location, Location::PDI * pdi) {
    location.SetPDI(pdi);
}

bool LocationResolver::IsKnownLegal(Location const & location) {
    return location.legality == 0;
}

void LocationResolver::RememberLegal(Location const & location) {
    location.legality = 0;
}

} // namespace IO
