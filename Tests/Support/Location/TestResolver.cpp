#include "Tests/Support/Location/TestResolver.h"

#include <Kestrel/Root/Memory.h>

#include <string_view>
#include <vector>

namespace Tests {

namespace {

using NameList = std::vector<unsigned short, Mu::StdAllocator<unsigned short>>;

bool IsSeparator(unsigned short unit) {
    return unit == '\\' || unit == '/';
}

// Takes the next segment of the text; false at an empty one or at the end.
bool TakeSegment(std::u16string_view & text, NameList & list) {
    std::size_t end = 0;
    while (end < text.size() && !IsSeparator(text[end]))
        ++end;
    if (end == 0)
        return false;
    list.insert(list.end(), text.begin(), text.begin() + end);
    list.push_back(0);
    text.remove_prefix(std::min(end + 1, text.size()));
    return true;
}

bool TakeSegments(std::u16string_view & text, NameList & list) {
    list.reserve(text.size() + 3);
    while (TakeSegment(text, list)) {
    }
    list.push_back(0);
    return text.empty();
}

} // namespace

bool TestResolver::PathToRelativeLocation(Mu::UniString const & text,
                                          IO::RelativeLocation * relative) {
    std::u16string_view rest = text;
    NameList names;
    if (rest == u"X" || rest.size() > 260 || !TakeSegments(rest, names))
        return false;
    SetContent(*relative, names.data());
    return true;
}

bool TestResolver::PathToLocation(Mu::UniString const & text, IO::Location * location) {
    std::u16string_view rest = text;
    NameList network;
    NameList local;
    if (rest.empty() || rest == u"X" || rest.size() > 260)
        return false;
    if (rest.size() > 1 && IsSeparator(rest[0]) && IsSeparator(rest[1])) {
        rest.remove_prefix(2);
        if (!TakeSegment(rest, network))
            return false;
    }
    network.push_back(0);
    if (!TakeSegments(rest, local))
        return false;
    SetContent(*location, network.data(), local.data(), IO::Location::FlatModel);
    return true;
}

bool TestResolver::LocationToPath(IO::Location const & location, Mu::UniString * path) {
    path->ClearContent();
    if (!location.IsLegal())
        return false;
    IO::Name name;
    if (location.GetNetworkLength() != 0) {
        path->Append("\\\\");
        if (location.GetLastNetworkName(&name) != IO::NoError)
            return false;
        path->Append(name.ToString());
    }
    for (unsigned int i = 0; location.GetLocalName(i, &name) == IO::NoError; ++i) {
        if (!path->IsEmpty())
            path->Append("\\");
        path->Append(name.ToString());
    }
    if (location.GetLocalLength() == 1)
        path->Append("\\");
    return true;
}

bool TestResolver::LocationToDisplayText(IO::Location const & location, Mu::UniString * text) {
    return LocationToPath(location, text);
}

} // namespace Tests
