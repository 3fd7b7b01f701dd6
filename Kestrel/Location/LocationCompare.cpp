#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/Internal/AddressNames.h>
#include <Kestrel/Location/Internal/AddressTree.h>
#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Location/Internal/LentAddress.h>
#include <Kestrel/Location/RelativeLocation.h>

namespace IO {

namespace {

constexpr unsigned int HashFactor = 65599;

bool AreHealthy(Location const & first, Location const & second) {
    return first.GetStatus() == NoError && !Mu::IsNull(second) && second.GetStatus() == NoError;
}

// The number of leading "." and ".." in a relative location, and how many of them are "..".
struct LeadingDots {
    unsigned int count = 0;
    unsigned int ups = 0;
};

MuErrCode CountLeadingDots(RelativeLocation const & relative, LeadingDots & dots) {
    Name name;
    for (unsigned int length = relative.GetLength(); dots.count < length; ++dots.count) {
        MuErrCode const status = relative.GetName(dots.count, &name);
        if (status != NoError)
            return status;
        bool const up = name.ToString() == u"..";
        if (!up && name.ToString() != u".")
            return NoError;
        dots.ups += up ? 1 : 0;
    }
    return NoError;
}

} // namespace

// Usually neither location has a user name.
bool Location::IsSameUser(Location const & other) const {
    return (extra == nullptr && other.extra == nullptr) || GetUserName() == other.GetUserName();
}

bool Location::operator==(Location const & other) const {
    return AreHealthy(*this, other) && Address::IsSame(network, other.network) &&
           Address::IsSame(local, other.local) && IsSameUser(other);
}

bool Location::operator!=(Location const & other) const {
    return AreHealthy(*this, other) && !(*this == other);
}

bool Location::operator<(Location const & other) const {
    if (!AreHealthy(*this, other))
        return false;
    return Address::IsSame(network, other.network) ? *Lend(local) < *Lend(other.local)
                                                   : *Lend(network) < *Lend(other.network);
}

unsigned int Location::GenerateHashValue() const {
    return HashFactor * AddressTree::HashOf(network) + AddressTree::HashOf(local);
}

bool Location::IsAncestorOf(Location const & other) const {
    if (!AreHealthy(*this, other))
        return false;
    if (!Lend(other.network)->BeginsWith(*Lend(network)))
        return false;
    if (GetNetworkLength() < other.GetNetworkLength())
        return IsRoot();
    return GetLocalLength() < other.GetLocalLength() && Lend(other.local)->BeginsWith(*Lend(local));
}

MuErrCode Location::GetDifference(Location const & base, RelativeLocation * result) const {
    if (Mu::IsNull(base) || result == nullptr)
        return Error;
    MuErrCode status = GetStatus();
    if (status == NoError)
        status = base.GetStatus();
    if (status != NoError)
        return status;
    return WithoutException([&] { return AppendDifference(base, result); });
}

MuErrCode Location::AppendDifference(Location const & base, RelativeLocation * result) const {
    result->Clear();
    if (!Address::IsSame(network, base.network))
        return ErrDifferentNetwork;
    unsigned int const common = CountCommonNames(*Lend(local), *Lend(base.local));
    MuErrCode status = NoError;
    Name name("..");
    for (unsigned int i = common; status == NoError && i < base.GetLocalLength(); ++i)
        status = result->Append(name);
    for (unsigned int i = common; status == NoError && i < GetLocalLength(); ++i) {
        status = GetLocalName(i, &name);
        if (status == NoError)
            status = result->Append(name);
    }
    return status == NoError || status == ErrMemoryFull ? status : Error;
}

MuErrCode Location::AppendToLocal(RelativeLocation const & relative) {
    MuErrCode status = CheckChange(Mu::IsNull(relative));
    if (status != NoError)
        return status;
    if (relative.GetStatus() != NoError)
        return Error;
    return WithoutException([&] { return FollowRelative(relative); });
}

MuErrCode Location::FollowRelative(RelativeLocation const & relative) {
    LeadingDots dots;
    MuErrCode status = CountLeadingDots(relative, dots);
    if (status != NoError)
        return status;
    if (dots.count == 0)
        return Lend(local)->Append(relative.address);
    if (dots.ups > GetLocalLength())
        return Error;
    for (unsigned int i = 0; status == NoError && i < dots.ups; ++i)
        status = DeleteLastLocalName();
    Name name;
    for (unsigned int i = dots.count; status == NoError && i < relative.GetLength(); ++i) {
        status = relative.GetName(i, &name);
        if (status == NoError)
            status = AppendToLocal(name);
    }
    return status;
}

} // namespace IO
