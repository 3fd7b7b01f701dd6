#include <Kestrel/FileSystem/Internal/WinLocationResolver.h>

#include <Kestrel/FileSystem/Internal/PathText.h>
#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Location/Internal/NameText.h>
#include <Kestrel/Location/NameEnumerator.h>
#include <Kestrel/Location/RelativeLocation.h>

#include <algorithm>

namespace IO {

namespace {

constexpr std::size_t LongestPath = 260;
constexpr unsigned int UsualCapacity = 120; // of a path's text, so that most take memory once

// Names one after another, each with a zero behind it, and an empty one at the end: as the content
// of a location is set. Room for all names of the longest path.
class ShortNameList {
public:
    void Append(PathText name) {
        end = std::copy(name.begin(), name.end(), end);
        *end++ = 0;
    }
    unsigned short const * Finish() {
        *end = 0;
        return units;
    }

private:
    unsigned short units[LongestPath + 2];
    unsigned short * end = units;
};

// The same without a limit.
class LongNameList {
public:
    void Append(PathText name) {
        names.Append(Mu::ConstSubstring(name));
        names.Append(Mu::UniChar());
    }
    unsigned short const * Finish() const { return names.GetUnits(); }

private:
    Mu::UniString names; // the zero that ends it is the empty name
};

// Reads a path name by name.
class SegmentReader {
public:
    explicit SegmentReader(PathText path) : rest(path) {}

    bool IsAtEnd() const { return rest.empty(); }
    bool IsAtSeparator() const { return !rest.empty() && IsSeparator(rest.front()); }
    void SkipSeparator() { rest.remove_prefix(1); }

    // Takes a name and the separator behind it; false where none begins. A name with a zero in it
    // could not be told from two.
    template <typename NameList>
    bool ReadInto(NameList * names) {
        std::size_t size = 0;
        while (size < rest.size() && !IsSeparator(rest[size]) && rest[size] != 0)
            ++size;
        if (size == 0 || (size < rest.size() && rest[size] == 0))
            return false;
        names->Append(rest.substr(0, size));
        rest.remove_prefix(std::min(size + 1, rest.size()));
        return true;
    }

private:
    PathText rest;
};

bool ReadPath(PathText path, ShortNameList * network, ShortNameList * local) {
    SegmentReader reader(path);
    if (reader.IsAtSeparator()) {
        reader.SkipSeparator();
        if (reader.IsAtSeparator()) {
            reader.SkipSeparator();
            if (!reader.ReadInto(network) || !reader.ReadInto(local))
                return false;
        }
    }
    while (reader.ReadInto(local)) {
    }
    return reader.IsAtEnd();
}

bool UsesHostName(Location::NetworkModel model) {
    return model == Location::FlatModel || model == Location::HierarchicalModel ||
           model == Location::SmbModel;
}

// Two separators and the host, and one more where local names follow.
void AppendHost(Location const & location, Mu::UniString * text) {
    Name host;
    if (location.GetLastNetworkName(&host) != NoError)
        return;
    text->Append(u"\\\\");
    text->Append(host.ToString());
    if (location.GetLocalLength() != 0)
        text->Append(u"\\");
}

// Puts local names together with separators between them.
class LocalNames : public NameEnumerator {
public:
    LocalNames(Mu::UniString * text, bool withAttachments)
        : text(text), withAttachments(withAttachments) {}

    void NameFound(Name const & name) override {
        if (!isFirst)
            text->Append(u"\\");
        isFirst = false;
        Mu::ConstSubstring const raw(name.ToString());
        text->Append(withAttachments ? raw : WithoutAttachment(raw));
    }

private:
    Mu::UniString * text;
    bool withAttachments;
    bool isFirst = true;
};

bool AppendLocalNames(Location const & location, bool withAttachments, Mu::UniString * text) {
    LocalNames names(text, withAttachments);
    return location.EnumerateLocalNames(&names) == NoError;
}

} // namespace

WinLocationResolver::WinLocationResolver() = default;

WinLocationResolver::~WinLocationResolver() = default;

bool WinLocationResolver::PathToRelativeLocation(Mu::UniString const & text,
                                                 RelativeLocation * relative) {
    SegmentReader reader(text);
    LongNameList names;
    while (reader.ReadInto(&names)) {
    }
    if (!reader.IsAtEnd())
        return false;
    SetContent(*relative, names.Finish());
    return true;
}

bool WinLocationResolver::PathToLocation(Mu::UniString const & text, Location * location) {
    Mu::UniString portable;
    bool const isNative = IsNativePath(text);
    if (isNative && !FromNativePath(text, &portable))
        return false;
    PathText const path = isNative ? portable : text;
    ShortNameList network, local;
    if (path.empty() || path.size() > LongestPath || !ReadPath(path, &network, &local))
        return false;
    SetContent(*location, network.Finish(), local.Finish(), Location::FlatModel);
    return true;
}

bool WinLocationResolver::LocationToPath(Location const & location, Mu::UniString * path) {
    path->ClearContent();
    if (location.GetStatus() != NoError || !location.IsLegal())
        return false;
    path->SetCapacity(UsualCapacity);
    if (location.GetNetworkLength() != 0) {
        if (!UsesHostName(location.GetNetworkModel()))
            return false;
        AppendHost(location, path);
    }
    if (!AppendLocalNames(location, false, path)) {
        path->ClearContent();
        return false;
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
    text->SetCapacity(UsualCapacity);
    AppendHost(location, text);
    return AppendLocalNames(location, true, text);
}

} // namespace IO
