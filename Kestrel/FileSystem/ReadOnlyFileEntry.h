#pragma once

#include <Kestrel/FileSystem/FileEntry.h>

namespace IO {

/// The base of files that cannot be changed: every change is refused.
class KESTREL_API ReadOnlyFileEntry : public FileEntry {
public:
    TimeStatus SetCreationTime(int const &) override { return TimeStatus::AccessDenied; }
    TimeStatus SetModificationTime(int const &) override { return TimeStatus::AccessDenied; }
    WriteStatus Write(char const *, unsigned int, unsigned int *) override {
        return WriteStatus::WriteError;
    }
    WriteStatus Flush() override { return WriteStatus::WriteError; }
    LengthStatus SetDataLength(unsigned long long) override { return LengthStatus::AccessDenied; }
    TypeStatus SetTypeInfo(unsigned int, unsigned int) override { return TypeStatus::AccessDenied; }
    AttributeStatus IsWriteProtected(bool * writeProtected) override {
        *writeProtected = true;
        return AttributeStatus::Done;
    }
    AttributeStatus SetWriteProtection(bool) override { return AttributeStatus::AccessDenied; }
    LockerStatus GetWriteLocker(Mu::UniString *) override { return LockerStatus::Unknown; }
};

} // namespace IO
