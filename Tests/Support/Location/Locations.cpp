#include "Tests/Support/Location/Locations.h"

#include <utility>

namespace Tests {

namespace {

template <typename Get>
Names List(Get const & get) {
    Names names;
    IO::Name name;
    for (unsigned int i = 0; get(i, &name) == IO::NoError; ++i)
        names.push_back(ToUtf8(name.ToString()));
    return names;
}

} // namespace

Names GetLocal(IO::Location const & location) {
    return List([&](unsigned int i, IO::Name * name) { return location.GetLocalName(i, name); });
}

Names GetNetwork(IO::Location const & location) {
    return List([&](unsigned int i, IO::Name * name) { return location.GetNetworkName(i, name); });
}

Names GetNames(IO::RelativeLocation const & location) {
    return List([&](unsigned int i, IO::Name * name) { return location.GetName(i, name); });
}

IO::Location MakeLocation(Names const & network, Names const & local) {
    IO::Location location;
    for (std::string const & name : network)
        (void)location.AppendToNetwork(IO::Name(U(name)));
    for (std::string const & name : local)
        (void)location.AppendToLocal(IO::Name(U(name)));
    return location;
}

IO::RelativeLocation MakeRelative(Names const & names) {
    IO::RelativeLocation location;
    for (std::string const & name : names)
        (void)location.Append(IO::Name(U(name)));
    return location;
}

// What was moved from is what memory has failed: it has no node.
IO::Location MakeInvalidLocation() {
    IO::Location location;
    IO::Location const taken(std::move(location));
    return location;
}

IO::RelativeLocation MakeInvalidRelative() {
    IO::RelativeLocation location;
    IO::RelativeLocation const taken(std::move(location));
    return location;
}

Names MakeRandomNames(std::mt19937 & random, unsigned int most) {
    static char const * const spellings[] = {"a", "b", "C:", "a b", "\xC3\xA4", "x.y", "%2F"};
    Names names(random() % (most + 1));
    for (std::string & name : names)
        name = spellings[random() % std::size(spellings)];
    return names;
}

} // namespace Tests
