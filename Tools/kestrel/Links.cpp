#include "Links.h"

#include "Arguments.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

namespace Tool {

namespace {

bool IsThere(IO::Location location) {
    IO::Name name;
    bool contained = false;
    if (location.IsRoot())
        return true;
    if (location.MoveLastLocalName(&name) == IO::NoError)
        IO::Folder(location, IO::Folder::OnNotFound::FailQuietly).Contains(name, &contained);
    return contained;
}

} // namespace

LinkTarget GetLinkTarget(IO::Location const & link) {
    IO::Location target;
    if (!IO::fileSystem.ResolveLocation(link, &target) || target == link)
        return {};
    return {ToText(target), !IsThere(target)};
}

} // namespace Tool
