#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/Internal/Report.h>

namespace IO {

using Level = ReportLine::Level;

MuErrCode File::SetCreationTime(int const & time) {
    static Outcome failures[] = {
        {ErrFileAccessDenied,
         {Level::Error,
          "Setting creation time of file \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {ErrFileInvalidTime,
         {Level::Error, "Setting creation time of file \"%\" in folder \"%\": invalid time is "
                        "encountered (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Setting creation time of file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Setting creation time of file \"%\" in folder \"%\": internal error (OS errors: %)"}},
    };
    if (Mu::IsNull(time))
        return Error;
    if (status != NoError)
        return status;
    return ReportFailure(failures, entry->SetCreationTime(time), {EntryOf{location}});
}

MuErrCode File::SetModificationTime(int const & time) {
    static Outcome failures[] = {
        {ErrFileAccessDenied,
         {Level::Error,
          "Setting modification time of file \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {ErrFileInvalidTime,
         {Level::Error, "Setting modification time of file \"%\" in folder \"%\": invalid time is "
                        "encountered (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Setting modification time of file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error,
         {Level::Error, "Setting modification time of file \"%\" in folder \"%\": internal error "
                        "(OS errors: %)"}},
    };
    if (Mu::IsNull(time))
        return Error;
    if (status != NoError)
        return status;
    return ReportFailure(failures, entry->SetModificationTime(time), {EntryOf{location}});
}

MuErrCode File::GetCreationTime(int * time) const {
    static Outcome failures[] = {
        {ErrFileAccessDenied,
         {Level::Error,
          "Querying creation time of file \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {ErrFileInvalidTime,
         {Level::Error, "Querying creation time of file \"%\" in folder \"%\": invalid time is "
                        "encountered (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Querying creation time of file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Querying creation time of file \"%\" in folder \"%\": internal error (OS errors: %)"}},
    };
    if (time == nullptr)
        return Error;
    if (status != NoError)
        return status;
    return ReportFailure(failures, entry->GetCreationTime(time), {EntryOf{location}});
}

MuErrCode File::GetModificationTime(int * time) const {
    static Outcome failures[] = {
        {ErrFileAccessDenied,
         {Level::Error, "Querying modification time of file \"%\" in folder \"%\": access denied "
                        "(OS errors: %)"}},
        {ErrFileInvalidTime,
         {Level::Error, "Querying modification time of file \"%\" in folder \"%\": invalid time is "
                        "encountered (OS errors: %)"}},
        {Error,
         {Level::Error, "Querying modification time of file \"%\" in folder \"%\": unknown error "
                        "(OS errors: %)"}},
        {Error,
         {Level::Error, "Querying modification time of file \"%\" in folder \"%\": internal error "
                        "(OS errors: %)"}},
    };
    if (time == nullptr)
        return Error;
    if (status != NoError)
        return status;
    return ReportFailure(failures, entry->GetModificationTime(time), {EntryOf{location}});
}

MuErrCode File::SetTypeInfo(unsigned int type, unsigned int creator) {
    static Outcome failures[] = {
        {ErrFileAccessDenied,
         {Level::Error,
          "Setting type information of file \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Setting type information of file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Setting type information of file \"%\" in folder \"%\": internal error (OS errors: %)"}},
    };
    if (status != NoError)
        return status;
    return ReportFailure(failures, entry->SetTypeInfo(type, creator), {EntryOf{location}});
}

MuErrCode File::GetTypeInfo(unsigned int * type, unsigned int * creator) const {
    static Outcome failures[] = {
        {ErrFileAccessDenied,
         {Level::Error,
          "Querying type information of file \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Querying type information of file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error,
         {Level::Error, "Querying type information of file \"%\" in folder \"%\": internal error "
                        "(OS errors: %)"}},
    };
    if (type == nullptr || creator == nullptr)
        return Error;
    if (status != NoError)
        return status;
    return ReportFailure(failures, entry->GetTypeInfo(type, creator), {EntryOf{location}});
}

MuErrCode File::IsWriteProtected(bool * isProtected) const {
    static Outcome failures[] = {
        {ErrFileAccessDenied,
         {Level::Error,
          "Querying write protection of file \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Querying write protection of file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error,
         {Level::Error, "Querying write protection of file \"%\" in folder \"%\": internal error "
                        "(OS errors: %)"}},
    };
    if (isProtected == nullptr)
        return Error;
    if (status != NoError)
        return status;
    return ReportFailure(failures, entry->IsWriteProtected(isProtected), {EntryOf{location}});
}

MuErrCode File::SetWriteProtection() {
    static Outcome failures[] = {
        {ErrFileAccessDenied,
         {Level::Error,
          "Setting write protection of file \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Setting write protection of file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Setting write protection of file \"%\" in folder \"%\": internal error (OS errors: %)"}},
    };
    if (status != NoError)
        return status;
    return ReportFailure(failures, entry->SetWriteProtection(true), {EntryOf{location}});
}

MuErrCode File::ClearWriteProtection() {
    static Outcome failures[] = {
        {ErrFileAccessDenied,
         {Level::Error,
          "Clearing write protection of file \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error,
          "Clearing write protection of file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error,
         {Level::Error, "Clearing write protection of file \"%\" in folder \"%\": internal error "
                        "(OS errors: %)"}},
    };
    if (status != NoError)
        return status;
    return ReportFailure(failures, entry->SetWriteProtection(false), {EntryOf{location}});
}

} // namespace IO
