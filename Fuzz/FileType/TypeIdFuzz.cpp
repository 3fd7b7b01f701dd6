// A persisted identifier, as another process or nobody may have written it. What is read is written
// and read again as the same.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/FileType/Defaults.h>
#include <Kestrel/FileType/FileTypeManager.h>

using FTM::FileTypeManager;
using Fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static FileTypeManager * const manager = [] {
        auto * const made = new FileTypeManager("fuzz");
        FTM::LoadFTMDefaults(made);
        made->AddGroup("group", FTM::RootGroup, "g/g");
        return made;
    }();
    Fuzz::FuzzInput input(data, size);
    char const * const id = input.TakeChoice(2) == 0 ? nullptr : manager->GetId();
    IO::MemoryIChannel in(input.GetRest(), input.GetRestSize());
    FTM::GeneralID const read = FileTypeManager::ReadID(in, id);
    IO::MemoryOChannel out;
    Require(FileTypeManager::WriteID(read, out) == Mu::NoError);
    IO::MemoryIChannel again(out.GetDestination(), out.GetDataSize());
    Require(FileTypeManager::ReadID(again, id) == read);
    return 0;
}
