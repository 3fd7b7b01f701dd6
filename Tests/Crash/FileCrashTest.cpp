// What Flush and Close of a File promise.

#include <Kestrel/FileSystem/File.h>

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

// Lengths, each flushed.
void SetLengths(Worker & worker) {
    IO::File file(worker.At("one/lengths"));
    worker.Need(file.Open(IO::File::OpenMode::ReadWrite), "open");
    unsigned int const length = worker.Draw(5000);
    worker.Tell("setting " + std::to_string(length));
    worker.Need(file.SetDataLength(length), "length");
    worker.Need(file.Flush(), "flush");
    worker.Tell("flushed " + std::to_string(length));
}
Tests::WorkEntry const setLengths("SetLengths", SetLengths);

} // namespace

TEST(FileAtTheEnd, OfTheProcessHoldsABeginningWithAllThatWasClosedOrFlushed) {
    for (unsigned int seed = 1; seed <= Tests::CountRounds(); ++seed) {
        SCOPED_TRACE(seed);
        Ending const ending("WriteRecords", EndOf::Process, seed);
        std::string const * const content = ending.Find("one/records");
        unsigned long long const promised =
            std::max(ending.GetLast("flushed"), ending.GetLast("closed"));
        if (content == nullptr) {
            EXPECT_EQ(promised, 0u);
            continue;
        }
        EXPECT_GE(content->size(), promised);
        EXPECT_LE(content->size(), ending.GetLast("written"));
        EXPECT_TRUE(GetRecords(content->size()).starts_with(*content));
    }
}

TEST(FileAtTheEnd, OfTheSystemHoldsAllThatWasFlushed) {
    unsigned int lost = 0;
    for (unsigned int seed = 1; seed <= Tests::CountRounds(); ++seed) {
        SCOPED_TRACE(seed);
        Ending const ending("WriteRecords", EndOf::System, seed);
        std::string const * const content = ending.Find("one/records");
        unsigned long long const flushed = ending.GetLast("flushed");
        if (content == nullptr) {
            EXPECT_EQ(flushed, 0u) << "the name is as good as the bytes";
            continue;
        }
        ASSERT_GE(content->size(), flushed);
        EXPECT_LE(content->size(), ending.GetLast("written"));
        EXPECT_EQ(content->substr(0, flushed), GetRecords(flushed).substr(0, flushed));
        lost += !GetRecords(content->size()).starts_with(*content) ||
                content->size() < ending.GetLast("closed");
    }
    EXPECT_GT(lost, 0u) << "the devices lose nothing, so that nothing is proven";
}

TEST(FileAtTheEnd, HasTheLengthThatWasFlushedOrTheNextOne) {
    for (EndOf const what : {EndOf::Process, EndOf::System})
        for (unsigned int seed = 1; seed <= Tests::CountRounds() / 2; ++seed) {
            SCOPED_TRACE(std::string(Tests::NameEnding(what)) + " " + std::to_string(seed));
            Ending const ending("SetLengths", what, seed, {{"one/lengths", std::string(700, 'x')}});
            ASSERT_NE(ending.Find("one/lengths"), nullptr);
            unsigned long long const length = ending.Find("one/lengths")->size();
            bool const any = ending.GetLines().size() > 1;
            unsigned long long const before = any ? ending.GetLast("flushed") : 700;
            unsigned long long const next =
                ending.GetLines().empty() ? before : ending.GetLast("setting");
            EXPECT_GE(length, std::min(before, next));
            EXPECT_LE(length, std::max(before, next));
            if (what == EndOf::Process) {
                EXPECT_TRUE(length == before || length == next);
            }
        }
}
