#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Text/String.h>

namespace IO::IPC {

/// An application that has run on this machine: its name, its version and its program file.
///
/// Two are equal if their program files are at the same location.
///
/// Memory:  that of its text and its location. Mu::OutOfMemoryException on shortage.
/// Threads: a plain value; one writer, or any number of readers.
/// Failure: Read and Write return statuses.
class KESTREL_API ApplicationInfo : public Mu::Object {
public:
    static Mu::ClassInfo const & GetClassInfoStatic();
    Mu::ClassInfo const & GetClassInfo() const override;
    ApplicationInfo * Clone() const override;
    ~ApplicationInfo() override;
    /// After a failure, the fields in front of the one that failed have been replaced.
    MuErrCode Read(Mu::IChannel & channel) override;
    /// Writes the name, the version and the path, without a frame.
    MuErrCode Write(Mu::OChannel & channel) const override;

    ApplicationInfo();
    ApplicationInfo(ApplicationInfo const & other);
    ApplicationInfo & operator=(ApplicationInfo const & other);

    void Set(Mu::String const & newName, unsigned int newVersion, Location const & newPath);
    Mu::String const & GetName() const { return name; }
    int GetVersion() const { return version; }
    Location const & GetPath() const { return path; }

    friend bool operator==(ApplicationInfo const & a, ApplicationInfo const & b) {
        return a.path == b.path;
    }

private:
    Mu::String name;
    int version = 0;
    Location path;
};

} // namespace IO::IPC
