// Any bytes as a services file, as the list of applications, and as the lists and entries that
// processes send one another.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/IPC/ApplicationList.h>
#include <Kestrel/IPC/ProcessInfo.h>
#include <Kestrel/IPC/Setup.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

using namespace IO::IPC;

/// The data folder of this process.
struct DataFolder {
    DataFolder() {
        std::filesystem::create_directory(path);
        Setup::Instance().SetDataFolderLocation(IO::Location(IO::FromNativePath(path)));
    }
    ~DataFolder() { std::filesystem::remove_all(path); }
    void Write(char const * name, Fuzz::FuzzInput const & input) const {
        std::ofstream(path / name, std::ios::binary).write(input.GetRest(), input.GetRestSize());
    }

    std::filesystem::path const path =
        std::filesystem::temp_directory_path() / ("kestrel-fuzz-" + std::to_string(::getpid()));
};

template <typename T>
std::string Write(T const & value) {
    IO::MemoryOChannel out;
    Fuzz::Require(value.Write(out) == IO::NoError);
    return {static_cast<IO::MemoryOChannel const &>(out).GetDestination(), out.GetDataSize()};
}

template <typename T>
MuErrCode Read(T & value, char const * bytes, unsigned int size) {
    IO::MemoryIChannel in(bytes, size);
    return value.Read(static_cast<Mu::IChannel &>(in));
}

// What was read writes a form that reads as the same.
template <typename T>
void ReadWriteRead(Fuzz::FuzzInput const & input) {
    T value;
    if (Read(value, input.GetRest(), input.GetRestSize()) != IO::NoError)
        return;
    std::string const written = Write(value);
    T again;
    Fuzz::Require(Read(again, written.data(), static_cast<unsigned int>(written.size())) ==
                  IO::NoError);
    Fuzz::Require(Write(again) == written);
}

void ReadServicesFile(DataFolder const & folder, Fuzz::FuzzInput const & input) {
    folder.Write("7", input);
    IO::Process::Descriptor descriptor;
    descriptor.processId = 7;
    ProcessInfo process(descriptor);
    MuErrCode const status = process.RefreshServerSet();
    // The file is a number and so many servers; a set keeps the first of each port.
    IO::MemoryIChannel in(input.GetRest(), input.GetRestSize());
    unsigned int count = 0;
    MuErrCode expected = in.Read(count);
    ProcessInfo::ServerSet servers;
    for (; expected == IO::NoError && count > 0; --count) {
        ServerInfo server;
        expected = server.Read(in);
        if (expected == IO::NoError)
            servers.Insert(server);
    }
    Fuzz::Require(status == (expected == IO::NoError ? IO::NoError : IO::Error));
    Fuzz::Require(Write(process.GetServerSet()) == Write(servers));
}

void ReadApplicationFile(DataFolder const & folder, Fuzz::FuzzInput const & input) {
    folder.Write("IPC.11.dat", input);
    ApplicationList list;
    ApplicationList same;
    MuErrCode const expected = Read(same, input.GetRest(), input.GetRestSize());
    MuErrCode const status = list.Read();
    Fuzz::Require((status == IO::NoError) == (expected == IO::NoError));
    Fuzz::Require(Write(list) == Write(same));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static DataFolder const folder;
    Fuzz::FuzzInput input(data, size);
    switch (input.TakeChoice(6)) {
    case 0: ReadServicesFile(folder, input); break;
    case 1: ReadApplicationFile(folder, input); break;
    case 2: ReadWriteRead<ProcessList>(input); break;
    case 3: ReadWriteRead<ProcessInfo>(input); break;
    case 4: ReadWriteRead<ApplicationList>(input); break;
    default: ReadWriteRead<ServerInfo>(input);
    }
    return 0;
}
