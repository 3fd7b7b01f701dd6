#include <Kestrel/Reflection/Internal/Start.h>

#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/Reflection/Internal/FileTypeReflection.h>
#include <Kestrel/Reflection/Internal/LibraryReflections.h>
#include <Kestrel/Reflection/Internal/MuReflection.h>
#include <Kestrel/Reflection/Internal/ReflectableUse.h>

#include <new>

namespace IO {

namespace {

// Constructed and destroyed explicitly.
struct Views {
    AddressTreeReflection addressTree;
    MountReflection mounts;
    FTM::Reflection fileTypes;
    Mu::Reflection root;
};

union Place {
    constexpr Place() : none(0) {}
    ~Place() {}

    char none;
    Views views;
};

constinit Place place;
constinit bool isStarted = false;

// An inspector may use a folder of a file system that a host unmounts and then deletes.
void WaitForInspectors() {
    ReflectableUse::WaitForEnd(&place.views.mounts);
}

} // namespace

void StartReflection() {
    if (isStarted)
        return;
    new (&place.views) Views;
    SetUnmountWait(WaitForInspectors);
    isStarted = true;
}

void EndReflection() {
    if (!isStarted)
        return;
    isStarted = false;
    SetUnmountWait(nullptr);
    place.views.~Views();
}

} // namespace IO
