#include "Tests/Soak/Tasks.h"

#include "Tests/Support/FileSystem/DiskVFS.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <Kestrel/Comfort.h>
#include <Kestrel/Kestrel.h>

#include <atomic>
#include <cstdio>
#include <iterator>
#include <type_traits>

namespace Soak {

namespace {

std::atomic<unsigned int> failures{0};

IO::Name DrawName(Context & context) {
    return IO::Name(("n" + std::to_string(context.Draw(12))).c_str());
}

unsigned int SizeOf(std::string const & text) {
    return static_cast<unsigned int>(text.size());
}

std::string ReadAll(Mu::IChannel & channel) {
    std::string content;
    char piece[5000];
    unsigned int read = 0;
    do {
        read = 0;
        static_cast<void>(channel.ReadBin(piece, sizeof piece, &read));
        content.append(piece, read);
    } while (read != 0);
    return content;
}

MuErrCode Put(Mu::OChannel & channel, std::string const & content) {
    return channel.WriteBin(content.data(), SizeOf(content), nullptr);
}

bool Holds(IO::Location const & file, std::string const & content) {
    auto const read = IO::ReadAll(file);
    return read && *read == content;
}

void UseFiles(Context & context) {
    IO::Location const location = context.folder / "file";
    std::string content = context.DrawText(60000);
    SOAK_EXPECT(IO::WriteAll(location, content) == IO::NoError);
    {
        IO::File file(location);
        SOAK_EXPECT(file.Open(IO::File::OpenMode::Append) == IO::NoError);
        SOAK_EXPECT(Put(file, "more") == IO::NoError);
        if (context.Draw(50) == 0)
            SOAK_EXPECT(file.Flush() == IO::NoError);
        if (context.Draw(2) == 0)
            SOAK_EXPECT(file.Close() == IO::NoError); // else the destructor does
    }
    content += "more";
    SOAK_EXPECT(Holds(location, content));
    IO::File file(location);
    unsigned int const length = context.Draw(SizeOf(content));
    SOAK_EXPECT(file.SetDataLength(length) == IO::NoError);
    unsigned long long told = 0;
    SOAK_EXPECT(file.GetDataLength(&told) == IO::NoError && told == length);
    IO::File const missing(context.folder / "missing");
    SOAK_EXPECT(missing.GetStatus() == IO::ErrFileNotFound);
}

void UseFolders(Context & context) {
    IO::Folder folder(context.folder);
    IO::Folder tree(folder, "tree", IO::Folder::OnNotFound::Create);
    SOAK_EXPECT(tree.GetStatus() == IO::NoError);
    for (unsigned int count = context.Draw(10); count != 0; --count)
        static_cast<void>(tree.CreateFile(DrawName(context))); // some twice
    static_cast<void>(tree.CreateFolder("deep"));
    SOAK_EXPECT(IO::WriteAll(context.folder / "tree" / "deep" / "last", context.DrawText(3000)) ==
                IO::NoError);
    SOAK_EXPECT(folder.Copy("tree", "copy") == IO::NoError);
    unsigned long long size = 0;
    unsigned long long copied = 1;
    SOAK_EXPECT(IO::fileSystem.CountSize(context.folder / "tree", &size) == IO::NoError);
    SOAK_EXPECT(IO::fileSystem.CountSize(context.folder / "copy", &copied) == IO::NoError);
    SOAK_EXPECT(size == copied);
    SOAK_EXPECT(folder.Exchange("tree", "copy") == IO::NoError);
    SOAK_EXPECT(folder.Rename("copy", "renamed") == IO::NoError);
    SOAK_EXPECT(folder.Rename("copy", "again") == IO::ErrSourceNotFound);
    IO::Folder renamed(folder, "renamed");
    SOAK_EXPECT(renamed.Move("deep", folder, "moved", IO::DataSafety::KeepProtected) ==
                IO::NoError);
    IO::Name unused;
    SOAK_EXPECT(folder.GenerateUnusedName(&unused) == 0);
}

// A system comes, gets a tree from the disk, gives it back, and goes.
void UseMounts(Context & context) {
    Tests::DiskFixedVFS system;
    IO::Location const place(Mu::UniString(("Q:\\soak" + std::to_string(context.number)).c_str()));
    std::string const content = context.DrawText(20000);
    IO::Folder folder(context.folder);
    static_cast<void>(folder.CreateFolder("from"));
    SOAK_EXPECT(IO::WriteAll(context.folder / "from" / "file", content) == IO::NoError);
    system.GetDisk();
    SOAK_EXPECT(IO::fileSystem.Mount(system, place) == IO::NoError);
    {
        IO::Folder memory(place);
        SOAK_EXPECT(folder.Copy("from", memory, "there") == IO::NoError);
        SOAK_EXPECT(Holds(place / "there" / "file", content));
        SOAK_EXPECT(memory.Move("there", folder, "back", IO::DataSafety::KeepProtected) ==
                    IO::NoError);
        bool isEmpty = false;
        SOAK_EXPECT(memory.IsEmpty(&isEmpty) == IO::NoError && isEmpty);
    }
    SOAK_EXPECT(IO::fileSystem.Unmount(system) == IO::NoError);
    SOAK_EXPECT(Holds(context.folder / "back" / "file", content));
}

// What is written through the channel that `make` puts over another must come back through the
// other.
template <typename Out, typename In, typename... Options>
void GoThrough(std::string const & content, Options... options) {
    Tests::ByteOChannel out;
    {
        Out channel(out, options...);
        SOAK_EXPECT(Put(channel, content) == IO::NoError);
    }
    std::string const bytes = out.GetBytes();
    IO::MemoryIChannel source(bytes.data(), SizeOf(bytes));
    if constexpr (std::is_same_v<In, IO::ZipIChannel>) {
        In channel(source);
        SOAK_EXPECT(ReadAll(channel) == content);
    } else {
        In channel(source, options...);
        SOAK_EXPECT(ReadAll(channel) == content);
    }
}

void UseZip(Context & context) {
    auto const threading = context.Draw(2) == 0 ? IO::ZipOChannelOptions::WorkerThread
                                                : IO::ZipOChannelOptions::WritingThread;
    auto const level = static_cast<IO::ZipOChannelOptions::CompressionLevel>(context.Draw(10));
    GoThrough<IO::ZipOChannel, IO::ZipIChannel>(
        context.DrawText(100000), IO::ZipOChannelOptions(level, context.Draw(3) * 9000, threading));
}

void UseCipher(Context & context) {
    GoThrough<IO::CodeOChannel, IO::CodeIChannel>(context.DrawText(2000), "a key", 5u);
}

void UseLog(Context & context) {
    static Mu::InfoLogLine info("thread % says %", "soak", nullptr);
    static Mu::ErrorLogLine error("thread % minds %", "soak", nullptr);
    for (unsigned int count = context.Draw(200); count != 0; --count) {
        Mu::LogComposer composer;
        composer.Append(context.number).Append(context.DrawText(100).c_str());
        Mu::logger.Append(context.Draw(2000) == 0 ? static_cast<Mu::EventLogLine &>(error) : info,
                          &composer);
    }
}

// Looks at the process itself, while the other threads work: the own mounts and names, too.
void UseInspection(Context & context) {
    IO::ReflectionClient client;
    SOAK_EXPECT(client.Connect("localhost", IO::ReflectionService::GetPort(), 0) == IO::NoError);
    IO::RelativeLocation at;
    Mu::Array<IO::Name> folders;
    for (int depth = 0; depth < 6 && (depth == 0 || !folders.IsEmpty()); ++depth) {
        if (depth > 0)
            SOAK_EXPECT(at.Append(folders[context.Draw(folders.GetSize())]) == IO::NoError);
        Mu::Array<IO::Name> files;
        Mu::Array<Mu::Array<IO::Reflectable::AttributeValue>> values;
        SOAK_EXPECT(client.GetChildren(at, &folders, &files) == IO::NoError);
        SOAK_EXPECT(client.GetAttributeValues(at, files, &values) == IO::NoError);
        Mu::UniString content;
        SOAK_EXPECT(client.GetContent(at, &content) == IO::NoError);
    }
}

} // namespace

std::string Context::DrawText(std::size_t most) {
    std::string text;
    std::size_t const size = 1 + random() % most;
    while (text.size() < size)
        text += static_cast<char>(' ' + random() % 90) + std::to_string(random() % 1000);
    text.resize(size);
    return text;
}

void Expect(bool holds, char const * what, int line) {
    if (holds)
        return;
    if (++failures < 20)
        std::printf("Tasks.cpp:%d does not hold: %s\n", line, what);
}

unsigned int CountFailures() {
    return failures;
}

void DoOne(Context & context) {
    static constexpr void (*tasks[])(Context &) = {UseFiles,  UseFolders, UseMounts,    UseZip,
                                                   UseCipher, UseLog,     UseInspection};
    tasks[context.Draw(static_cast<unsigned int>(std::size(tasks)))](context);
    IO::Folder folder(context.folder);
    SOAK_EXPECT(folder.DeleteAll(IO::DataSafety::IgnoreProtection) == IO::NoError);
}

} // namespace Soak
