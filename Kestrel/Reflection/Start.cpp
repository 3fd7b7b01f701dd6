#include <Kestrel/Reflection/Internal/Start.h>

#include <Kestrel/Reflection/Internal/FileTypeReflection.h>
#include <Kestrel/Reflection/Internal/LibraryReflections.h>
#include <Kestrel/Reflection/Internal/MuReflection.h>

#include <new>

namespace IO {

namespace {

// Made and unmade by hand.
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

} // namespace

void StartReflection() {
    if (isStarted)
        return;
    new (&place.views) Views;
    isStarted = true;
}

void EndReflection() {
    if (!isStarted)
        return;
    isStarted = false;
    place.views.~Views();
}

} // namespace IO
