#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/Internal/AddressPair.h>
#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Location/Internal/LocalRoot.h>

#include <memory>
#include <utility>

namespace IO {

Location::PDI::~PDI() = default;

Location::Location() : network(Address::Unset()), local(Address::Unset()) {
    AddressPair::Clear(network, local);
}

Location::Location(Location const & other)
    : Mu::Object(other), network(Address::Unset()), local(Address::Unset()),
      networkModel(other.networkModel), scheme(other.scheme), userName(other.userName),
      password(other.password), port(other.port),
      pdi(other.pdi == nullptr ? nullptr : other.pdi->Clone()), legality(other.legality),
      status(other.status) {
    AddressPair::Copy(network, other.network, local, other.local);
}

Location::Location(Location && other) noexcept
    : Mu::Object(other), network(std::move(other.network)), local(std::move(other.local)),
      networkModel(other.networkModel), scheme(std::move(other.scheme)),
      userName(std::move(other.userName)), password(std::move(other.password)), port(other.port),
      pdi(std::exchange(other.pdi, nullptr)), legality(other.legality), status(other.status) {}

Location::Location(Location const & parent, Name const & name) : Location(parent) {
    if (!Mu::IsNull(name))
        (void)AppendToLocal(name); // a failure stays in the address
}

Location::Location(Mu::UniString const & text) : Location() {
    status = Set(text);
}

Location::Location(char const * text) : Location() {
    status = Set(text);
}

Location::Location(char16_t const * text) : Location() {
    status = Set(text);
}

Location::~Location() {
    delete pdi;
    AddressPair::Drop(network, local);
}

Location & Location::operator=(Location const & other) {
    if (Mu::IsNull(other) || this == &other)
        return *this;
    legality = NotAsked; // a string that cannot be had leaves a mixture behind
    ClearPDI();
    AddressPair::Copy(network, other.network, local, other.local);
    networkModel = other.networkModel;
    scheme = other.scheme;
    userName = other.userName;
    password = other.password;
    port = other.port;
    if (other.pdi != nullptr)
        pdi = other.pdi->Clone();
    legality = other.legality;
    status = other.status;
    return *this;
}

Location & Location::operator=(Location && other) noexcept {
    if (this == &other)
        return *this;
    network = std::move(other.network);
    local = std::move(other.local);
    networkModel = other.networkModel;
    scheme = std::move(other.scheme);
    userName = std::move(other.userName);
    password = std::move(other.password);
    port = other.port;
    SetPDI(std::exchange(other.pdi, nullptr));
    legality = other.legality;
    status = other.status;
    return *this;
}

Location * Location::Clone() const {
    return GetStatus() == NoError ? new Location(*this) : nullptr;
}

namespace {

template <typename T>
bool IsAbsent(T const & argument) {
    return Mu::IsNull(argument);
}

bool IsAbsent(char const * argument) {
    return argument == nullptr;
}

} // namespace

template <typename... Arguments>
MuErrCode Location::Make(Location ** location, Arguments const &... arguments) {
    if (location == nullptr)
        return Error;
    *location = nullptr;
    if ((IsAbsent(arguments) || ...))
        return Error;
    return WithoutException([&] {
        std::unique_ptr<Location> made(new Location(arguments...));
        MuErrCode const madeStatus = made->GetStatus();
        if (madeStatus == NoError)
            *location = made.release();
        return madeStatus;
    });
}

MuErrCode Location::New(Location ** location) {
    return Make(location);
}

MuErrCode Location::New(Location ** location, Location const & other) {
    return Make(location, other);
}

MuErrCode Location::New(Location ** location, Location const & parent, Name const & name) {
    return Make(location, parent, name);
}

MuErrCode Location::New(Location ** location, Mu::UniString const & text) {
    return Make(location, text);
}

MuErrCode Location::New(Location ** location, char const * text) {
    return Make(location, text);
}

bool Location::IsValid() const {
    return GetStatus() == NoError && IsLegal();
}

void Location::SetScheme(Mu::UniString const & text) {
    scheme = text;
    networkModel = scheme.IsEmpty() ? HierarchicalModel : SchemeModel;
    legality = NotAsked;
}

void Location::SetUserName(Mu::UniString const & text) {
    userName = text;
    legality = NotAsked;
}

void Location::SetPassword(Mu::UniString const & text) {
    password = text;
    legality = NotAsked;
}

void Location::SetPort(unsigned short number) {
    port = number;
    legality = NotAsked;
}

void Location::Clear() {
    AddressPair::Clear(network, local);
    networkModel = HierarchicalModel;
    scheme.Clear();
    userName.Clear();
    password.Clear();
    port = 0;
    ClearPDI();
    legality = NotAsked;
    status = NoError;
}

void Location::SetPDI(PDI * owned) {
    delete std::exchange(pdi, owned);
}

void Location::ClearPDI() {
    SetPDI(nullptr);
}

void Location::SetContent(unsigned short const * networkNames, unsigned short const * localNames,
                          NetworkModel model) {
    if (networkNames == nullptr || localNames == nullptr)
        return;
    // Failures stay in the addresses. Mostly the machine is none, and was none before.
    if (*networkNames != 0 || !HasAddresses() || !network.IsEmpty())
        (void)network.Set(networkNames);
    (void)local.Set(localNames);
    networkModel = model;
    ClearPDI();
    legality = NotAsked;
}

// The one location that is there before any host's code and after it. Its place is known at once,
// so that a reference to it can be.

namespace {

union RootPlace {
    constexpr RootPlace() : nothing(0) {}
    ~RootPlace() {}
    char nothing;
    Location location;
};

constinit RootPlace rootPlace;

} // namespace

constinit Location const & localRoot = rootPlace.location;

void StartLocalRoot() {
    std::construct_at(&rootPlace.location);
}

void EndLocalRoot() {
    std::destroy_at(&rootPlace.location);
}

} // namespace IO
