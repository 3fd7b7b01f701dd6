#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/Internal/AddressPair.h>
#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Location/Internal/LentAddress.h>
#include <Kestrel/Location/Internal/LocalRoot.h>
#include <Kestrel/Location/Internal/LocationExtra.h>

#include <memory>
#include <utility>

namespace IO {

Location::PDI::~PDI() = default;

Location::Extra::Extra(Extra const & other)
    : scheme(other.scheme), userName(other.userName), password(other.password),
      pdi(other.pdi == nullptr ? nullptr : other.pdi->Clone()) {}

Location::Location() {
    AddressPair::Clear(network, local);
}

Location::Location(Location const & other)
    : Mu::Object(other), network(other.network), local(other.local), status(other.status),
      port(other.port), networkModel(other.networkModel), legality(other.legality) {
    if (other.extra != nullptr) [[unlikely]]
        extra = new Extra(*other.extra);
    AddressPair::Copy(other.network, other.local);
}

Location::Location(Location && other) noexcept
    : Mu::Object(other), network(std::exchange(other.network, Address::NoNode)),
      local(std::exchange(other.local, Address::NoNode)),
      extra(std::exchange(other.extra, nullptr)), status(other.status), port(other.port),
      networkModel(other.networkModel), legality(other.legality) {}

Location::Location(Location const & parent, Name const & name) : Location(parent) {
    if (!Mu::IsNull(name))
        (void)AppendToLocal(name); // a failure remains in the address
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
    delete extra;
    AddressPair::Drop(network, local);
}

Location & Location::operator=(Location const & other) {
    if (Mu::IsNull(other) || this == &other)
        return *this;
    return *this = Location(other);
}

Location & Location::operator=(Location && other) noexcept {
    if (this == &other)
        return *this;
    AddressPair::Drop(network, local);
    network = std::exchange(other.network, Address::NoNode);
    local = std::exchange(other.local, Address::NoNode);
    delete std::exchange(extra, std::exchange(other.extra, nullptr));
    status = other.status;
    port = other.port;
    networkModel = other.networkModel;
    legality = other.legality;
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

// Never destroyed: hosts may keep what the getters return for the lifetime of a static location.
static Mu::UniString const & NoText() {
    alignas(Mu::UniString) static unsigned char place[sizeof(Mu::UniString)];
    static Mu::UniString const * const text = new (place) Mu::UniString;
    return *text;
}

Mu::UniString const & Location::GetText(Mu::UniString Extra::*which) const {
    return extra == nullptr ? NoText() : extra->*which;
}

void Location::SetText(Mu::UniString Extra::*which, Mu::UniString const & text) {
    if (extra == nullptr && text.IsEmpty())
        return;
    if (extra == nullptr)
        extra = new Extra;
    extra->*which = text;
}

Mu::UniString const & Location::GetScheme() const {
    return GetText(&Extra::scheme);
}

void Location::SetScheme(Mu::UniString const & text) {
    SetText(&Extra::scheme, text);
    networkModel = GetScheme().IsEmpty() ? HierarchicalModel : SchemeModel;
    legality = NotAsked;
}

Mu::UniString const & Location::GetUserName() const {
    return GetText(&Extra::userName);
}

void Location::SetUserName(Mu::UniString const & text) {
    SetText(&Extra::userName, text);
    legality = NotAsked;
}

Mu::UniString const & Location::GetPassword() const {
    return GetText(&Extra::password);
}

void Location::SetPassword(Mu::UniString const & text) {
    SetText(&Extra::password, text);
    legality = NotAsked;
}

void Location::SetPort(unsigned short number) {
    port = number;
    legality = NotAsked;
}

void Location::Clear() {
    AddressPair::Clear(network, local);
    delete std::exchange(extra, nullptr);
    networkModel = HierarchicalModel;
    port = 0;
    legality = NotAsked;
    status = NoError;
}

Location::PDI * Location::GetPDI() const {
    return extra == nullptr ? nullptr : extra->pdi.get();
}

void Location::SetPDI(PDI * owned) {
    std::unique_ptr<PDI> taken(owned);
    if (extra == nullptr && owned != nullptr)
        extra = new Extra;
    if (extra != nullptr)
        extra->pdi = std::move(taken);
}

void Location::ClearPDI() {
    SetPDI(nullptr);
}

void Location::SetContent(unsigned short const * networkNames, unsigned short const * localNames,
                          NetworkModel model) {
    if (networkNames == nullptr || localNames == nullptr)
        return;
    // Failures remain in the addresses. Usually the network address is empty, and was before.
    if (*networkNames != 0 || !HasAddresses() || !Lend(network)->IsEmpty())
        (void)Lend(network)->Set(networkNames);
    (void)Lend(local)->Set(localNames);
    networkModel = static_cast<unsigned char>(model);
    ClearPDI();
    legality = NotAsked;
}

// The one location that exists before any host's code and after it. Its address is a constant, so
// that the reference to it is one, too.

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
