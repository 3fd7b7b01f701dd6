#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/Internal/AddressNames.h>
#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Location/RelativeLocation.h>

namespace IO {

namespace {

constexpr unsigned int HashFactor = 65599;

bool AreHealthy(Location const & first, Location const & second) {
    return first.GetStatus() == NoError && !Mu::IsNull(second) && second.GetStatus() == NoError;
}

// Mostly there is none.
bool IsSameUser(Mu::UniString const & a, Mu::UniString const & b) {
    return a.GetLength() == b.GetLength() && (a.IsEmpty() || a == b);
}

// The "." and ".." that a relative location begins with, and how many of them are "..".
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

bool Location::operator==(Location const & other) const {
    return AreHealthy(*this, other) && IsSame(network, other.network) &&
           IsSame(local, other.local) && IsSameUser(userName, other.userName);
}

bool Location::operator!=(Location const & other) const {
    return AreHealthy(*this, other) && !(*this == other);
}

bool Location::operator<(Location const & other) const {
    if (!AreHealthy(*this, other))
        return false;
    return network == other.network ? local < other.local : network < other.network;
}

unsigned int Location::GenerateHashValue() const {
    return HashFactor * network.GenerateHashValue() + local.GenerateHashValue();
}

bool Location::IsAncestorOf(Location const & other) const {
    if (!AreHealthy(*this, other))
        return false;
    unsigned int const networkLength = network.GetLength();
    unsigned int const otherLength = other.network.GetLength();
    if (!other.network.BeginsWith(network))
        return false;
    if (networkLength < otherLength)
        return local.IsEmpty();
    return local.GetLength() < other.local.GetLength() && other.local.BeginsWith(local);
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
    if (network != base.network)
        return ErrDifferentNetwork;
    unsigned int const common = CountCommonNames(local, base.local);
    MuErrCode status = NoError;
    Name name("..");
    for (unsigned int i = common; status == NoError && i < base.local.GetLength(); ++i)
        status = result->Append(name);
    for (unsigned int i = common; status == NoError && i < local.GetLength(); ++i) {
        status = local.GetName(i, &name);
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
        return local.Append(relative.address);
    if (dots.ups > local.GetLength())
        return Error;
    for (unsigned int i = 0; status == NoError && i < dots.ups; ++i)
        status = local.DeleteLastName();
    Name name;
    for (unsigned int i = dots.count; status == NoError && i < relative.GetLength(); ++i) {
        status = relative.GetName(i, &name);
        if (status == NoError)
            status = local.Append(name);
    }
    return status;
}

} // namespace IO
