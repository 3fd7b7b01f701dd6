#pragma once

#include "Tests/Support/HandClock.h"

#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/Root/Time/Time.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace Tests {

/// An open entry at its start holds this content: reads and seeks move a position between its ends.
/// What has no times of its own is of now.
inline void ExpectReads(IO::FileEntry & file, std::string const & content) {
    using Entry = IO::FileEntry;
    HandClock const clock;
    int time = 0;
    unsigned int type = 1;
    unsigned int creator = 1;
    unsigned long long size = 0;
    EXPECT_EQ(file.GetModificationTime(&time), Entry::TimeStatus::Done);
    EXPECT_EQ(time, TIGetTime());
    EXPECT_EQ(file.GetTypeInfo(&type, &creator), Entry::TypeStatus::Done);
    EXPECT_TRUE(type == 0 && creator == 0);
    EXPECT_EQ(file.GetDataLength(&size), Entry::LengthStatus::Done);
    EXPECT_EQ(size, content.size());
    std::mt19937 random(1);
    long long const length = static_cast<long long>(content.size());
    long long at = 0;
    for (int step = 0; step < 2000; ++step) {
        unsigned int const origin = random() % 3;
        long long const offset = static_cast<long long>(random() % 32) - 16;
        long long const starts[] = {0, at, length};
        unsigned long long position = 99;
        long long const target = starts[origin] + offset;
        bool const isIn = target >= 0 && target <= length;
        ASSERT_EQ(file.Seek(static_cast<Entry::SeekOrigin>(origin), offset, &position),
                  isIn ? Entry::SeekStatus::Done : Entry::SeekStatus::IllegalPosition);
        at = isIn ? target : at;
        ASSERT_EQ(position, isIn ? at : 99);
        char bytes[4];
        unsigned int read = 9;
        unsigned int const count = random() % 4;
        ASSERT_EQ(file.Read(bytes, count, &read),
                  at + count <= length ? Entry::ReadStatus::Done : Entry::ReadStatus::EndOfFile);
        ASSERT_EQ(std::string(bytes, read), content.substr(at, count));
        at += read;
    }
}

} // namespace Tests
