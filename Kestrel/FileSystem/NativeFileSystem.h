#pragma once

#include <Kestrel/FileSystem/BaseFileSystem.h>
#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

/// The file system of the platform, of which there is only one: serves everything on disks and
/// shares, and provides what depends on the platform.
///
/// The object registers itself when it is constructed and unregisters when it is destroyed.
class KESTREL_API NativeFileSystem : public BaseFileSystem {
public:
    enum class EstimateStatus : unsigned int {
        Done = 0,
        AccessDenied = 1,
        NotFound = 2,
        Other = 3
    };
    enum class MountPointsStatus : unsigned int {
        Finished = 0,
        Stopped = 1, ///< by the callback
        Failed = 2
    };
    using MountPointCallback = bool (*)(Location const & location, void * data);

    /// The option of RestrictLinkExtensions; the value 0 restricts.
    static constexpr unsigned int LinkExtensionsOption = 0x574C4558;

    /// The registered object; null if there is none.
    static NativeFileSystem * Get();

    NativeFileSystem();
    NativeFileSystem(NativeFileSystem const &) = delete;
    NativeFileSystem & operator=(NativeFileSystem const &) = delete;
    ~NativeFileSystem() override;

    /// False only for a medium that is not in its drive.
    virtual bool IsOnLine(Location const & location) = 0;
    virtual bool GetSpecialLocation(SpecLocId id, Location * location) = 0;
    /// Resolves a link in the last name. A location that is not a link is returned unchanged.
    virtual bool ResolveLocation(Location const & from, Location * to) = 0;

    /// The type of a location as its parent folder reports it, with a link followed once.
    virtual EstimateStatus EstimateResolvedType(Location const & location, EntryType * type);

    /// The root of the computer, then its drives.
    virtual MountPointsStatus EnumerateMountPoints(MountPointCallback callback, void * data) = 0;
    /// Whether two names identify the same entry; the comparison behind the equality of Name.
    virtual bool IsSameName(Mu::UniString const & a, Mu::UniString const & b) = 0;
    /// Unknown ids do nothing.
    virtual void SetOption(unsigned int id, unsigned int value) = 0;
};

} // namespace IO
