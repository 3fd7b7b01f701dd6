#pragma once

#include <Kestrel/Root/Export.h>

namespace FTM {

class FileTypeManager;

/// Adds the built-in groups and types to the catalogue, owned by `manager`, and sets ImageGroup,
/// TextFileType and their like to them. Null does nothing.
///
/// A type that cannot be added is UnknownType, and the others are added all the same. So a second
/// call, on whatever manager, sets all types to UnknownType, since their MIME names are taken, and
/// adds a second pair of groups.
KESTREL_API void LoadFTMDefaults(FileTypeManager * manager);

} // namespace FTM
