#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO::Process {

/// One process of this machine: its numbers, the name of its program and the program's location.
///
/// A plain value that is filled in by GetActualProcess, GetFirstProcess and GetNextProcess, or by
/// Read. It describes the time when it was filled in: the process may have ended since, and its
/// number may be in use by another one.
///
/// Memory:  that of its text and its location. Mu::OutOfMemoryException on shortage.
/// Threads: a plain value; one writer, or any number of readers.
/// Failure: Read and Write return statuses; the rest cannot fail.
class KESTREL_API Descriptor : public Mu::Object {
public:
    static Mu::ClassInfo const & GetClassInfoStatic();

    Mu::ClassInfo const & GetClassInfo() const override;
    Descriptor * Clone() const override;
    ~Descriptor() override;
    /// Writes or reads the four fields in their order, without a frame. After a failure the fields
    /// in front of the one that failed have been replaced.
    MuErrCode Read(Mu::IChannel & channel) override;
    MuErrCode Write(Mu::OChannel & channel) const override;

    /// Leaves the two numbers uninitialised.
    Descriptor();
    Descriptor(Descriptor const & other);
    Descriptor & operator=(Descriptor const & other);

    int processId;
    int parentProcessId; ///< 0 in the descriptor of GetActualProcess
    Mu::UniString name;  ///< from a walk: in lower case and with extension; see GetActualProcess
    Location path;       ///< the program file
};

} // namespace IO::Process
