#include <Kestrel/FileType/Internal/Start.h>

#include <Kestrel/FileType/Internal/IdentifierCounters.h>
#include <Kestrel/FileType/Internal/Tables.h>

#include <new>

namespace FTM {

struct FileTypeStart {
    struct Statics {
        Mu::ReentrantLock lock;
        Mu::Array<FileTypeManager::TypeRecord> types;
        Mu::Array<FileTypeManager::GroupRecord> groups;
        Mu::Array<FileTypeManager::ExtensionIndexRecord> extensions;
        Mu::Array<FileTypeManager::MimeIndexRecord> mimes;
        Mu::Array<FileTypeManager::TypeGroupLink> links;
        IO::Name scratchName;
    };

    // Constructed explicitly, so that its address is constant from the beginning, and never
    // destroyed: a manager of a host may be destroyed after the library has ended.
    union Place {
        constexpr Place() : none(0) {}
        ~Place() {}

        char none;
        Statics object;
    };

    static Place place;
    static bool isStarted;
};

constinit FileTypeStart::Place FileTypeStart::place;
constinit bool FileTypeStart::isStarted = false;

constinit Mu::ReentrantLock & FileTypeManager::lock = FileTypeStart::place.object.lock;
constinit Mu::Array<FileTypeManager::TypeRecord> & FileTypeManager::hTypeDataArray =
    FileTypeStart::place.object.types;
constinit Mu::Array<FileTypeManager::GroupRecord> & FileTypeManager::hGroupDataArray =
    FileTypeStart::place.object.groups;
constinit Mu::Array<FileTypeManager::ExtensionIndexRecord> & FileTypeManager::hExtensionIndexArray =
    FileTypeStart::place.object.extensions;
constinit Mu::Array<FileTypeManager::MimeIndexRecord> & FileTypeManager::hMimeIndexArray =
    FileTypeStart::place.object.mimes;
constinit Mu::Array<FileTypeManager::TypeGroupLink> & FileTypeManager::hTypeGroupArray =
    FileTypeStart::place.object.links;

void StartFileType() {
    if (FileTypeStart::isStarted)
        return;
    FileTypeStart::isStarted = true;
    new (&FileTypeStart::place.object) FileTypeStart::Statics();
}

void EndFileType() {
    if (!FileTypeStart::isStarted)
        return;
    FileTypeStart::Statics & statics = FileTypeStart::place.object;
    statics.types.Clear();
    statics.groups.Clear();
    statics.extensions.Clear();
    statics.mimes.Clear();
    statics.links.Clear();
    statics.scratchName.Clear();
    IdentifierCounters::ResetTypes();
    IdentifierCounters::ResetGroups();
}

IO::Name & GetScratchName() {
    return FileTypeStart::place.object.scratchName;
}

} // namespace FTM
