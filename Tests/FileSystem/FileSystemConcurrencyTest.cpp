// Many threads at the mount tables, and many Files at once.

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

#include "Tests/Support/FileSystem/Place.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <thread>

namespace {

constexpr unsigned int ThreadCount = 4;

// The work, by one thread, and then by several at once. They have numbers from 0.
void RunTogether(std::function<void(unsigned int number)> const & work) {
    work(0);
    std::vector<std::thread> threads;
    for (unsigned int number = 0; number < ThreadCount; ++number)
        threads.emplace_back(work, number);
    for (std::thread & thread : threads)
        thread.join();
}

bool CountMount(IO::Location const &, void * data) {
    ++*static_cast<unsigned int *>(data);
    return true;
}

} // namespace

// Two systems, one right below the other, come and go while others look there.
TEST(FileSystem, TellsWhatIsMountedWhileItComesAndGoes) {
    Tests::DiskFixedVFS systems[2];
    IO::Location const outer(U("Q:\\threads"));
    IO::Location const places[] = {outer, IO::Location(outer, IO::Name("inner"))};
    systems[0].AddFile("file", "outer");
    systems[1].AddFile("file", "inner");
    RunTogether([&](unsigned int number) {
        for (unsigned int round = 0; round < 150; ++round) {
            bool contained = false;
            unsigned int count = 0;
            if (number < 2) {
                EXPECT_EQ(IO::fileSystem.Mount(systems[number], places[number]), IO::NoError);
                EXPECT_EQ(Tests::Place::Read(IO::Location(places[number], "file")),
                          number == 0 ? "outer" : "inner");
                EXPECT_EQ(IO::fileSystem.Unmount(systems[number]), IO::NoError);
                EXPECT_FALSE(IO::fileSystem.IsMountPoint(places[number]));
                continue;
            }
            EXPECT_EQ(IO::fileSystem.EnumerateVirtualMountPoints(CountMount, &count), IO::NoError);
            EXPECT_LE(count, 2u);
            (void)IO::fileSystem.Contains(IO::Location(places[number - 2], "file"), &contained);
        }
    });
    EXPECT_EQ(systems[0].CountConnected() + systems[1].CountConnected(), 0);
}

// Each thread has files of its own in a folder of all. Nobody looks at the files of another one:
// where links are files, looking for them opens each for a moment, and what is open cannot be moved.
TEST(File, WorksBesideTheFilesOfOtherThreads) {
    Tests::Place const place(false);
    place.Write("shared", "read by all");
    RunTogether([&](unsigned int number) {
        std::mt19937 random(number);
        IO::Folder folder(place.GetRoot());
        IO::File shared(folder, "shared");
        EXPECT_EQ(shared.Open(IO::File::OpenMode::ReadOnlySharedToReadWrite), IO::NoError);
        std::string const mark = "t" + std::to_string(number) + "-";
        std::string const a = mark + "a", b = mark + "b", c = mark + "c";
        auto const name = [](std::string const & text) { return IO::Name(text.c_str()); };
        for (unsigned int round = 0; round < 25; ++round) {
            std::string const contentA(random() % 30000, 'a');
            std::string const contentB(random() % 300, 'b');
            place.Write(a.c_str(), contentA);
            place.Write(b.c_str(), contentB);
            EXPECT_EQ(folder.Exchange(name(a), name(b)), IO::NoError);
            EXPECT_EQ(folder.Copy(name(a), name(c)), IO::NoError);
            EXPECT_TRUE(place.Read(b.c_str()) == contentA);
            EXPECT_TRUE(place.Read(c.c_str()) == contentB);
            bool contained = true;
            EXPECT_EQ(folder.Contains(name(mark + "missing"), &contained), IO::NoError);
            EXPECT_FALSE(contained);
            char text[64];
            unsigned int read = 0;
            EXPECT_EQ(shared.SetPosition(0), IO::NoError);
            EXPECT_EQ(shared.ReadBin(text, sizeof text, &read), IO::EOI);
            EXPECT_EQ(std::string(text, read), "read by all");
            shared.ResetInputStatus();
            for (std::string const & each : {a, b, c})
                EXPECT_EQ(folder.Delete(name(each), IO::DataSafety::KeepProtected), IO::NoError);
        }
    });
}
