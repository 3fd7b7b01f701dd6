// As FileSystem/Start.cpp, for the floor above it.

#include <Kestrel/FileType/Internal/Start.h>

namespace {

struct Start {
    Start() { FTM::StartFileType(); }
    ~Start() { FTM::EndFileType(); }
} start;

} // namespace
