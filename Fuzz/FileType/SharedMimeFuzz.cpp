// A shared MIME catalogue from anywhere. The input is its files one behind the other, with a byte 0x1E
// between them; what follows the last is a file that its tests look at. It is no catalogue, or types
// that go again with their manager.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/FileType/SharedMimeTypes.h>
#include <Kestrel/Location/Location.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

using FTM::FileTypeManager;
using Fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static std::filesystem::path const & disk =
        *new std::filesystem::path(std::filesystem::temp_directory_path() /
                                   ("kestrel-fuzz-" + std::to_string(std::random_device()())));
    static bool const isThere = std::filesystem::create_directory(disk) &&
                                std::atexit([] { std::filesystem::remove_all(disk); }) == 0;
    Require(isThere);
    static IO::Location const folder(IO::FromNativePath(disk));
    std::string rest(reinterpret_cast<char const *>(data), size);
    for (char const * name : {"globs2", "magic", "aliases", "subclasses", "icons"}) {
        std::size_t const end = std::min(rest.find('\x1E'), rest.size());
        std::ofstream(disk / name, std::ios::binary) << rest.substr(0, end);
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
