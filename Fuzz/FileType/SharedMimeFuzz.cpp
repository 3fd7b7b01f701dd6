// A shared MIME catalogue from anywhere. The input is its files one behind the other, with a byte 0x1E
// between them; what follows the last is a file that its tests look at. It is no catalogue, or types
// that go again with their manager.

#include "Fuzz/Support/FuzzInput.h"
#include "Tests/Support/FileSystem/MemoryFS.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/FileType/SharedMimeTypes.h>

#include <algorithm>

using FTM::FileTypeManager;
using Fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static Tests::MemoryFixedVFS & disk = *new Tests::MemoryFixedVFS();
    static IO::Location const folder = [] {
        IO::Location location("C:\\no such folder 8353\\mime");
        Require(IO::fileSystem.Mount(disk, location) == Mu::NoError);
        return location;
    }();
    std::string rest(reinterpret_cast<char const *>(data), size);
    disk.tree.freeSpace = 1 << 30;
    for (char const * name : {"globs2", "magic", "aliases", "subclasses", "icons"}) {
        std::size_t const end = std::min(rest.find('\x1E'), rest.size());
        if (Tests::MemoryNode * const node = disk.tree.Find(name); node != nullptr)
            node->content = rest.substr(0, end);
        else
            disk.tree.AddFile(name, rest.substr(0, end));
        rest.erase(0, end + 1);
    }
    {
        FileTypeManager manager("fuzz");
        FTM::SharedMimeResult const result = FTM::LoadSharedMimeTypes(&manager, folder);
        Require(result.status == Mu::NoError || result.status == Mu::Error);
        int const count = FileTypeManager::CountAllTypeChild(FTM::RootGroup);
        Require(count == static_cast<int>(result.typeCount));
        for (unsigned int i = 1; i <= result.typeCount; ++i) {
            FTM::FileType type;
            Require(FileTypeManager::GetType(FTM::GeneralID(static_cast<int>(i)), &type) ==
                    Mu::NoError);
            IO::MemoryIChannel channel(rest.data(), static_cast<unsigned int>(rest.size()));
            (void)type.CheckTypeCallback(channel, nullptr);
        }
    }
    Require(FileTypeManager::CountAllChild(FTM::RootGroup) == 0);
    return 0;
}
