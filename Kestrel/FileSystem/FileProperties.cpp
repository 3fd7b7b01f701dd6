#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/Internal/FileTimes.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/FileSystem/Internal/WinFileEntry.h>

namespace IO {

using Level = ReportLine::Level;

namespace {

// The codes and lines for the statuses of a property; the first argument of each is the operation.

constinit Outcome timeFailures[] = {
    {ErrFileAccessDenied,
     {Level::Error, "% of file \"%\" in folder \"%\": access denied (OS errors: %)"}},
    {ErrFileInvalidTime,
     {Level::Error, "% of file \"%\" in folder \"%\": invalid time is encountered (OS errors: %)"}},
    {Error, {Level::Error, "% of file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
    {Error, {Level::Error, "% of file \"%\" in folder \"%\": internal error (OS errors: %)"}},
};

constinit Outcome failures[] = {
    {ErrFileAccessDenied,
     {Level::Error, "% of file \"%\" in folder \"%\": access denied (OS errors: %)"}},
    {Error, {Level::Error, "% of file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
    {Error, {Level::Error, "% of file \"%\" in folder \"%\": internal error (OS errors: %)"}},
};

} // namespace

MuErrCode File::SetCreationTime(int const & time) {
    if (Mu::IsNull(time))
        return Error;
    return status != NoError ? status
                             : ReportFailure(timeFailures, entry->SetCreationTime(time),
                                             {"Setting creation time", EntryOf{location}});
}

MuErrCode File::SetModificationTime(int const & time) {
    if (Mu::IsNull(time))
        return Error;
    return status != NoError ? status
                             : ReportFailure(timeFailures, entry->SetModificationTime(time),
                                             {"Setting modification time", EntryOf{location}});
}

MuErrCode File::SetTime(TimeKind kind, long long seconds) {
    return status != NoError
               ? status
               : ReportFailure(timeFailures, WriteEntryTime<WinFileEntry>(*entry, kind, seconds),
                               {kind == TimeKind::Creation ? "Setting creation time"
                                                           : "Setting modification time",
                                EntryOf{location}});
}

MuErrCode File::GetTime(TimeKind kind, long long * seconds) const {
    if (seconds == nullptr)
        return Error;
    return status != NoError
               ? status
               : ReportFailure(timeFailures, ReadEntryTime<WinFileEntry>(*entry, kind, seconds),
                               {kind == TimeKind::Creation ? "Querying creation time"
                                                           : "Querying modification time",
                                EntryOf{location}});
}

MuErrCode File::GetCreationTime(int * time) const {
    if (time == nullptr)
        return Error;
    return status != NoError ? status
                             : ReportFailure(timeFailures, entry->GetCreationTime(time),
                                             {"Querying creation time", EntryOf{location}});
}

MuErrCode File::GetModificationTime(int * time) const {
    if (time == nullptr)
        return Error;
    return status != NoError ? status
                             : ReportFailure(timeFailures, entry->GetModificationTime(time),
                                             {"Querying modification time", EntryOf{location}});
}

MuErrCode File::GetDiskUse(DiskUse * use) const {
    if (use == nullptr)
        return Error;
    *use = {};
    auto const * const own = dynamic_cast<WinFileEntry const *>(entry);
    return status != NoError || own == nullptr
               ? status
               : ReportFailure(failures, own->GetDiskUse(use),
                               {"Querying disk use", EntryOf{location}});
}

MuErrCode File::SetTypeInfo(unsigned int type, unsigned int creator) {
    return status != NoError ? status
                             : ReportFailure(failures, entry->SetTypeInfo(type, creator),
                                             {"Setting type information", EntryOf{location}});
}

MuErrCode File::GetTypeInfo(unsigned int * type, unsigned int * creator) const {
    if (type == nullptr || creator == nullptr)
        return Error;
    return status != NoError ? status
                             : ReportFailure(failures, entry->GetTypeInfo(type, creator),
                                             {"Querying type information", EntryOf{location}});
}

MuErrCode File::IsWriteProtected(bool * isProtected) const {
    if (isProtected == nullptr)
        return Error;
    return status != NoError ? status
                             : ReportFailure(failures, entry->IsWriteProtected(isProtected),
                                             {"Querying write protection", EntryOf{location}});
}

MuErrCode File::SetWriteProtection() {
    return status != NoError ? status
                             : ReportFailure(failures, entry->SetWriteProtection(true),
                                             {"Setting write protection", EntryOf{location}});
}

MuErrCode File::ClearWriteProtection() {
    return status != NoError ? status
                             : ReportFailure(failures, entry->SetWriteProtection(false),
                                             {"Clearing write protection", EntryOf{location}});
}

} // namespace IO
