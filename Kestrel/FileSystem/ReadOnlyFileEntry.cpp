// All of the class is in line; on Windows this object is the one that exports it.
#include <Kestrel/FileSystem/ReadOnlyFileEntry.h>
