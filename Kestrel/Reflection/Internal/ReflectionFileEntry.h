#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Reflection/VFSFileEntry.h>

namespace IO {

/// A file with the text of one thing of a Reflectable, as it was when the file was connected to.
class ReflectionFileEntry : public VFSFileEntry {
public:
    /// Copies the bytes. Throws Mu::OutOfMemoryException.
    ReflectionFileEntry(char const * content, unsigned int size);
    ~ReflectionFileEntry() override;
    ReflectionFileEntry(ReflectionFileEntry const &) = delete;
    ReflectionFileEntry & operator=(ReflectionFileEntry const &) = delete;

    void SetContext(BaseFileSystem & fileSystem, Location const & where) override;
    void Disconnect() override { isConnected = false; }
    bool IsConnected() const override { return isConnected; }
    void Invalidate() override {}
    void GetLocation(Location * where) const override;
    ConnectStatus Connect(VFSFileEntry ** entry) override;

    TimeStatus SetCreationTime(int const &) override { return TimeStatus::AccessDenied; }
    TimeStatus GetCreationTime(int * time) override;
    TimeStatus SetModificationTime(int const &) override { return TimeStatus::AccessDenied; }
    TimeStatus GetModificationTime(int * time) override { return GetCreationTime(time); }
    BaseFileSystem * GetOwnerFileSystem() override { return owner; }
    OpenStatus Open(OpenMode mode) override;
    ReadStatus Read(char * destination, unsigned int count, unsigned int * read) override;
    WriteStatus Write(char const *, unsigned int, unsigned int *) override {
        return WriteStatus::WriteError;
    }
    SeekStatus Seek(SeekOrigin origin, long long offset, unsigned long long * where) override;
    WriteStatus Flush() override { return WriteStatus::WriteError; }
    CloseStatus Close() override { return CloseStatus::Done; } // the position is kept
    LengthStatus SetDataLength(unsigned long long) override { return LengthStatus::AccessDenied; }
    LengthStatus GetDataLength(unsigned long long * length) override;
    TypeStatus SetTypeInfo(unsigned int, unsigned int) override { return TypeStatus::AccessDenied; }
    TypeStatus GetTypeInfo(unsigned int * type, unsigned int * creator) override;
    AttributeStatus IsWriteProtected(bool * writeProtected) override;
    AttributeStatus SetWriteProtection(bool) override { return AttributeStatus::AccessDenied; }
    LockerStatus GetWriteLocker(Mu::UniString *) override { return LockerStatus::Unknown; }

private:
    BaseFileSystem * owner = nullptr;
    Location location;
    bool isConnected = false;
    char * data; // owned
    unsigned long long size;
    unsigned long long position = 0; // <= size
};

} // namespace IO
