#include "Tests/Support/Location/TestResolver.h"

#include <Kestrel/Root/Memory/Memory.h>

#include <string_view>
#include <vector>

namespace Tests {

namespace {

using NameList = std::vector<unsigned short, Mu::StdAllocator<unsigned short>>;

// The names between separators as a list of names; false where one is empty.
bool Split(std::u16string_view text, NameList & names) {
    names.reserve(text.size() + 2);
    for (char16_t const unit : text) {
        bool const isEnd = unit == u'\\' || unit == u'/';
        if (isEnd && (names.empty() || names.back() == 0))
            return false;
        names.push_back(isEnd ? u'\0' : unit);
    }
    if (!names.empty() && names.back() != 0)
        names.push_back(0);
    names.push_back(0);
    return text != u"X";
}

} // namespace

bool TestResolver::PathToRelativeLocation(Mu::UniString const & text,
                                          IO::RelativeLocation * relative) {
    NameList names;
    bool const isRead = Split(text, names);
    if (isRead)
        SetContent(*relative, names.data());
    return isRead;
}

bool TestResolver::PathToLocation(Mu::UniString const & text, IO::Location * location) {
    NameList names;
    bool const isRead = !text.IsEmpty() && Split(text, names);
    unsigned short const none[] = {0};
    if (isRead)
        SetContent(*location, none, names.data(), IO::Location::FlatModel);
    return isRead;
}

bool TestResolver::LocationToPath(IO::Location const & location, Mu::UniString * path) {
    path->ClearContent();
    IO::Name name;
    for (unsigned int i = 0; location.GetLocalName(i, &name) == IO::NoError; ++i) {
        if (i > 0)
            path->Append("\\");
        path->Append(name.ToString());
    }
    if (location.GetLocalLength() == 1)
        path->Append("\\");
    return location.IsLegal();
}

bool TestResolver::LocationToDisplayText(IO::Location const & location, Mu::UniString * text) {
    return LocationToPath(location, text);
}

} // namespace Tests
