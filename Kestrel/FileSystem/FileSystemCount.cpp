#include <Kestrel/FileSystem/FileSystem.h>

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/TransferScope.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>

namespace IO {

namespace {

// Both count a file that the enumeration is certain of as soon as it is found, and the others once
// the walk has determined their type.

class RecursiveFileCounter final : public TreeEnumerator {
public:
    using TreeEnumerator::TreeEnumerator;
    bool EntryFound(Name const & name, bool isFolder) override {
        if (isFolder || !GetParent()->GetFoundFile(name, nullptr, nullptr))
            return true;
        FileFound(name);
        return false;
    }
    bool FileFound(Name const &) override {
        ++result;
        return true;
    }

    unsigned int result = 0;
};

class RecursiveSizeCounter final : public TreeEnumerator {
public:
    using TreeEnumerator::TreeEnumerator;
    bool EntryFound(Name const & name, bool isFolder) override {
        unsigned long long length;
        if (isFolder || !GetParent()->GetFoundFile(name, &length, nullptr))
            return true;
        Add(length);
        return false;
    }
    bool FileFound(Name const & name) override {
        unsigned long long length = 0;
        if (File(*GetParent(), name).GetDataLength(&length) == NoError)
            Add(length);
        return true;
    }

    unsigned long long result = 0;

private:
    void Add(unsigned long long length) {
        result += length;
        (void)TransferScope::Add(length); // a cancellation takes effect at the next entry
    }
};

// Returns what could be counted, whatever failed during the walk.
template <typename Counter, typename Result>
MuErrCode CountWith(Location const & location, Result * result) {
    if (Mu::IsNull(location) || result == nullptr)
        return Error;
    *result = 0;
    Folder const folder(location, Folder::OnNotFound::Report);
    if (folder.GetStatus() != NoError)
        return folder.GetStatus();
    Counter counter(folder);
    MuErrCode const walked = counter.Do();
    *result = counter.result;
    TransferScope const * const scope = TransferScope::GetCurrent();
    return walked == NoError && scope != nullptr && scope->IsEnded() ? Error : walked;
}

} // namespace

MuErrCode FileSystem::CountFiles(Location const & location, unsigned int * count) {
    return CountWith<RecursiveFileCounter>(location, count);
}

MuErrCode FileSystem::CountSize(Location const & location, unsigned long long * size) {
    return CountWith<RecursiveSizeCounter>(location, size);
}

} // namespace IO
