#pragma once

#include <Kestrel/Root/Export.h>

namespace FTM {

class FileTypeManager;

/// Adds the built-in groups and types to the catalogue, owned by `manager`, and stores their
/// identifiers in ImageGroup, TextFileType and so on. Null does nothing.
///
/// A type that cannot be added becomes UnknownType, and the others are still added. So a second
/// call, with any manager, sets all types to UnknownType, since their MIME names are in use, and
/// adds a second pair of groups.
KESTREL_API void LoadFTMDefaults(FileTypeManager * manager);

} // namespace FTM
