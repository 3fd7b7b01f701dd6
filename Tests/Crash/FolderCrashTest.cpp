// What the operations of a Folder promise: no file is lost when they are cut short.

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

#include "Tests/Crash/Ending.h"
#include "Tests/Support/FileSystem/DiskVFS.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Tests::Ending;
using Tests::EndOf;
using Tests::Worker;

// A tree to and fro between two folders, and two of its files to and fro in it.
void Carry(Worker & worker, IO::Location const (&places)[2]) {
    static bool isInTwo = false;
    IO::Folder from(places[isInTwo]);
    IO::Folder to(places[!isInTwo]);
    worker.Need(IO::Folder(from, "tree").Exchange("a", "b"), "exchange");
    worker.Need(from.Move("tree", to, "tree", IO::DataSafety::KeepProtected), "move");
    isInTwo = !isInTwo;
}

void CarryToAnotherDevice(Worker & worker) {
    Carry(worker, {worker.At("one"), worker.At("two")});
}
Tests::WorkEntry const carryToAnotherDevice("CarryToAnotherDevice", CarryToAnotherDevice);

void CarryToAnotherFileSystem(Worker & worker) {
    static Tests::DiskFixedVFS system(worker.At("two"));
    IO::Location const place(U("Q:\\two"));
    if (!IO::fileSystem.IsMountPoint(place))
        worker.Need(IO::fileSystem.Mount(system, place), "mount");
    Carry(worker, {worker.At("one"), place});
}
Tests::WorkEntry const carryToAnotherFileSystem("CarryToAnotherFileSystem",
                                                CarryToAnotherFileSystem);

} // namespace

TEST(FolderAtTheEnd, HoldsATreeWholeOnOneOfTwoSides) {
    Ending::Files before;
    for (char const * name : {"a", "b", "deep/c", "deep/deeper/d"})
        before["one/tree/" + std::string(name)] = name + std::string(3000, 'x');
    for (char const * work : {"CarryToAnotherDevice", "CarryToAnotherFileSystem"})
        for (unsigned int seed = 1; seed <= Tests::CountRounds(); ++seed) {
            SCOPED_TRACE(std::string(work) + " " + std::to_string(seed));
            Ending const ending(work, EndOf::Process, seed, before);
            auto const isWhole = [&](std::string const & side) {
                return std::all_of(before.begin(), before.end(), [&](auto const & file) {
                    return std::any_of(
                        ending.GetFiles().begin(), ending.GetFiles().end(), [&](auto const & left) {
                            return left.first.starts_with(side) && left.second == file.second;
                        });
                });
            };
            EXPECT_TRUE(isWhole("one/tree/") || isWhole("two/tree/"));
        }
}
