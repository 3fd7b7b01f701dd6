#include <Kestrel/FileSystem/Internal/WinLocationResolver.h>

#include <Kestrel/FileSystem/Internal/PathText.h>
#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Location/Internal/LegalNames.h>
#include <Kestrel/Location/Internal/ValidatorTable.h>
#include <Kestrel/Location/Platform/NativeText.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Root/Internal/UnitRuns.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>

namespace IO {

namespace {

// Room for the names of the longest path, each with a zero behind it, and an empty one at the end:
// the form in which the content of a location is set.
using NameList = unsigned short[LongestPathText + 2];

// Writes the names of a path, each with a zero behind it: the path, with zeros for its separators.
// False for an empty name, and for a zero, which could not be distinguished from a separator.
bool CopyNames(PathText path, unsigned short * names) {
    using namespace Mu::UnitRuns;
    std::size_t const size = path.size();
    names[size] = 0;
    ConvertAll(path.data(), size, names,
               [](auto units) { return units & ~((units == '\\') | (units == '/')); });
    auto const areZero = [](auto units) { return units == 0; };
    auto const areBothZero = [](auto a, auto b) { return (a | b) == 0; };
    return size == 0 || (names[0] != 0 && !Any(size, areZero, path.data()) &&
                         !Any(size - 1, areBothZero, names, names + 1));
}

// Copies the first name into a list of its own and advances past it; another name must follow.
bool TakeHost(unsigned short const ** names, NameList & host) {
    unsigned int const length = Mu::CountUnits(*names);
    if (length == 0 || (*names)[length + 1] == 0)
        return false;
    std::copy_n(*names, length + 1, host);
    host[length + 1] = 0;
    *names += length + 1;
    return true;
}

// The number of separators to skip: one is allowed before a drive, two are required before a host.
std::size_t CountLead(PathText path) {
    if (!IsSeparator(path[0]))
        return 0;
    return path.size() > 1 && IsSeparator(path[1]) ? 2 : 1;
}

bool UsesHostName(Location::NetworkModel model) {
    return model == Location::FlatModel || model == Location::HierarchicalModel ||
           model == Location::SmbModel;
}

// Operations on a healthy location fail only when memory runs out, which is no result: without a
// name, the text would be that of another place.
void Check(MuErrCode status) {
    if (status != NoError)
        Mu::ThrowOutOfMemory();
}

// Two separators and the host, and one more where local names follow.
void AppendHost(Location const & location, Mu::UniString * text) {
    if (location.GetNetworkLength() == 0)
        return;
    Name host;
    Check(location.GetLastNetworkName(&host));
    text->Append(u"\\\\");
    text->Append(host.ToString());
    if (location.GetLocalLength() != 0)
        text->Append(u"\\");
}

// Whether a location of these names, joined to a path, is legal for sure: nearly all paths of Linux
// are short, and their names plain. Others are checked name by name, and so are those with parts of
// a URL, which have rules of their own.
bool IsSurelyLegal(Location const & location, PathText path) {
    constexpr unsigned int mostBytes = 255; // of a name, too
    BytePath bytes;
    if (location.GetNetworkModel() == Location::SchemeModel || !location.GetPassword().IsEmpty())
        return false;
    if (!IsOnLinux || path.size() < 2 || path.size() > mostBytes || path[1] != ':' ||
        !IsPortableUnit(path[0]))
        return false;
    PathText const rest = path.substr(2);
    unsigned short separators = 0;
    for (char16_t const unit : rest)
        separators = static_cast<unsigned short>(separators + (IsSeparator(unit) ? 1 : 0));
    return separators + 1u == location.GetLocalLength() &&
           (rest.empty() || AppendPlainNames(rest, &bytes));
}

} // namespace

WinLocationResolver::WinLocationResolver() = default;

WinLocationResolver::~WinLocationResolver() = default;

bool WinLocationResolver::PathToRelativeLocation(Mu::UniString const & text,
                                                 RelativeLocation * relative) {
    Mu::UniString names;
    names.SetLength(text.GetLength() + 1); // the zero that ends it is the empty name
    if (!CopyNames(text, names.begin()))
        return false;
    SetContent(*relative, names.GetUnits());
    return true;
}

bool WinLocationResolver::PathToLocation(Mu::UniString const & text, Location * location) {
    Mu::UniString portable;
    bool const isNative = IsNativePath(text);
    if (isNative && !FromNativePath(text, &portable))
        return false;
    PathText path = isNative ? portable : text;
    if (path.empty() || path.size() > LongestPathText)
        return false;
    std::size_t const lead = CountLead(path);
    path.remove_prefix(lead);
    NameList names;
    if (!CopyNames(path, names))
        return false;
    names[path.size() + 1] = 0;
    unsigned short const * local = names;
    NameList network;
    network[0] = 0;
    if (lead == 2 && !TakeHost(&local, network))
        return false;
    SetContent(*location, network, local, Location::FlatModel);
    return true;
}

bool WinLocationResolver::LocationToPath(Location const & location, Mu::UniString * path) {
    path->ClearContent();
    if (location.GetStatus() != NoError)
        return false;
    bool const isLocal = location.GetNetworkLength() == 0;
    if (isLocal) {
        Check(AppendLocalNames(location, false, path));
        if (!IsKnownLegal(location) && IsSurelyLegal(location, *path))
            RememberLegal(location);
    }
    MuErrCode const legality = location.CheckLegality();
    if (legality == ErrMemoryFull)
        Mu::ThrowOutOfMemory(); // not a result
    if (legality != NoError || (!isLocal && !UsesHostName(location.GetNetworkModel()))) {
        path->ClearContent();
        return false;
    }
    if (!isLocal) {
        AppendHost(location, path);
        Check(AppendLocalNames(location, false, path));
    }
    if (location.GetLocalLength() == 1)
        path->Append(u"\\");
    return true;
}

bool WinLocationResolver::LocationToDisplayText(Location const & location, Mu::UniString * text) {
    return LocationToPath(location, text);
}

bool WinLocationResolver::LocationToLogText(Location const & location, Mu::UniString * text) {
    text->ClearContent();
    AppendHost(location, text);
    Check(AppendLocalNames(location, true, text));
    return true;
}

} // namespace IO
