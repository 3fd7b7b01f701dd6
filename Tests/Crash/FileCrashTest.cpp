// What Flush and Close of a File promise.

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/ReplacingFile.h>

#include "Tests/Crash/Ending.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Tests::Ending;
using Tests::EndOf;
using Tests::Worker;

// Longer than the blocks of a write buffer now and then.
std::string GetRecord(unsigned int index) {
    unsigned int const length = index % 17 == 16 ? 40000 : index * 37 % 900;
    return "record " + std::to_string(index) +
           std::string(length, static_cast<char>('a' + index % 26)) + "\n";
}

// The records from the first on, at least so many bytes.
std::string GetRecords(std::size_t bytes) {
    std::string records;
    for (unsigned int index = 0; records.size() < bytes; ++index)
        records += GetRecord(index);
    return records;
}

// Records one after another into one file that is flushed, closed and opened again at random.
void WriteRecords(Worker & worker) {
    static IO::File file(worker.At("one/records"), IO::File::OnNotFound::Create);
    static unsigned int index = 0;
    static unsigned long long bytes = 0;
    worker.Need(file.Open(IO::File::OpenMode::Append), "open");
    std::string const record = GetRecord(index++);
    bytes += record.size();
    worker.Tell("written " + std::to_string(bytes));
    worker.Need(file.WriteBin(record.data(), static_cast<unsigned int>(record.size()), nullptr),
                "write");
    unsigned int const next = worker.Draw(6);
    if (next == 0) {
        worker.Need(file.Flush(), "flush");
        worker.Tell("flushed " + std::to_string(bytes));
    } else if (next == 1) {
        worker.Need(file.Close(), "close");
        worker.Tell("closed " + std::to_string(bytes));
    }
}
Tests::WorkEntry const writeRecords("WriteRecords", WriteRecords);

// One record after another takes the place of the one before.
void ReplaceRecords(Worker & worker) {
    static unsigned int index = 0;
    std::string const record = GetRecord(++index);
    IO::ReplacingFile file(worker.At("one/record"));
    worker.Need(
        file.GetFile().WriteBin(record.data(), static_cast<unsigned int>(record.size()), nullptr),
        "write");
    worker.Need(file.Commit(), "commit");
    worker.Tell("saved " + std::to_string(index));
}
Tests::WorkEntry const replaceRecords("ReplaceRecords", ReplaceRecords);

} // namespace

TEST(FileAtTheEnd, StandsForTheOldContentOrTheNewOne) {
    for (EndOf const what : {EndOf::Process, EndOf::System})
        for (unsigned int seed = 1; seed <= Tests::CountRounds() / 2; ++seed) {
            SCOPED_TRACE(Tests::NameEnding(what) + std::to_string(seed));
            Ending const ending("ReplaceRecords", what, seed);
            auto const saved = static_cast<unsigned int>(ending.GetLast("saved"));
            std::string const * const content = ending.Find("one/record");
            if (content == nullptr) {
                EXPECT_EQ(saved, 0u);
                continue;
            }
            EXPECT_TRUE(*content == GetRecord(saved) || *content == GetRecord(saved + 1));
        }
}

TEST(FileAtTheEnd, HoldsABeginningWithAllThatWasFlushed) {
    for (EndOf const what : {EndOf::Process, EndOf::System}) {
        unsigned int lost = 0;
        for (unsigned int seed = 1; seed <= Tests::CountRounds(); ++seed) {
            SCOPED_TRACE(Tests::NameEnding(what) + std::to_string(seed));
            Ending const ending("WriteRecords", what, seed);
            unsigned long long const flushed = ending.GetLast("flushed");
            unsigned long long const closed = ending.GetLast("closed");
            std::string const * const content = ending.Find("one/records");
            if (content == nullptr) {
                EXPECT_EQ(flushed + closed, 0u);
                continue;
            }
            EXPECT_GE(content->size(),
                      what == EndOf::Process ? std::max(flushed, closed) : flushed);
            EXPECT_LE(content->size(), ending.GetLast("written"));
            EXPECT_TRUE(GetRecords(content->size()).starts_with(*content));
            lost += content->size() < closed;
        }
        EXPECT_EQ(lost > 0, what == EndOf::System) << "a close alone brings nothing to safety";
    }
}
