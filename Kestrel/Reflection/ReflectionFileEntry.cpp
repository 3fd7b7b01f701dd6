#include <Kestrel/Reflection/Internal/ReflectionFileEntry.h>

#include <Kestrel/Root/Time/Time.h>

#include <algorithm>

namespace IO {

ReflectionFileEntry::ReflectionFileEntry(char const * content, unsigned int size)
    : data(static_cast<char *>(Mu::NewArrayOperator(size))), size(size) {
    if (data == nullptr)
        Mu::ThrowOutOfMemory();
    BNCopyMemory(content, data, size);
}

ReflectionFileEntry::~ReflectionFileEntry() {
    Mu::DeleteArrayOperator(data);
}

void ReflectionFileEntry::SetContext(BaseFileSystem & fileSystem, Location const & where) {
    owner = &fileSystem;
    location = where;
}

void ReflectionFileEntry::GetLocation(Location * where) const {
    if (where != nullptr)
        *where = location;
}

// Kept: connections are not counted; a second one is the same as the first.
VFSFileEntry::ConnectStatus ReflectionFileEntry::Connect(VFSFileEntry ** entry) {
    *entry = this;
    isConnected = true;
    return ConnectStatus::Connected;
}

FSEntry::TimeStatus ReflectionFileEntry::GetCreationTime(int * time) {
    *time = TIGetTime();
    return TimeStatus::Done;
}

FileEntry::OpenStatus ReflectionFileEntry::Open(OpenMode mode) {
    if (mode != OpenMode::Read)
        return OpenStatus::AccessDenied;
    position = 0;
    return OpenStatus::Done;
}

FileEntry::ReadStatus ReflectionFileEntry::Read(char * destination, unsigned int count,
                                                unsigned int * read) {
    *read = static_cast<unsigned int>(std::min<unsigned long long>(count, size - position));
    BNCopyMemory(data + position, destination, *read);
    position += *read;
    return *read == count ? ReadStatus::Done : ReadStatus::EndOfFile;
}

FileEntry::SeekStatus ReflectionFileEntry::Seek(SeekOrigin origin, long long offset,
                                                unsigned long long * where) {
    unsigned long long start = 0;
    switch (origin) {
    case SeekOrigin::Beginning: break;
    case SeekOrigin::Current: start = position; break;
    case SeekOrigin::End: start = size; break;
    default: return SeekStatus::Done; // Kept: nothing changes, and that is no failure
    }
    // A position before the start is a large number here.
    unsigned long long const target = start + static_cast<unsigned long long>(offset);
    if (target > size)
        return SeekStatus::IllegalPosition;
    position = target;
    *where = target;
    return SeekStatus::Done;
}

FileEntry::LengthStatus ReflectionFileEntry::GetDataLength(unsigned long long * length) {
    *length = size;
    return LengthStatus::Done;
}

FileEntry::TypeStatus ReflectionFileEntry::GetTypeInfo(unsigned int * type,
                                                       unsigned int * creator) {
    *type = 0;
    *creator = 0;
    return TypeStatus::Done;
}

FSEntry::AttributeStatus ReflectionFileEntry::IsWriteProtected(bool * writeProtected) {
    *writeProtected = true;
    return AttributeStatus::Done;
}

} // namespace IO
