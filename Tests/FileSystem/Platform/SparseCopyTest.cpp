#include <Kestrel/FileSystem/Platform/SparseCopy.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using IO::SparseRange;

/// A file in blocks, of which some are written. Every call counts, and the one that is to fail does.
class File {
public:
    static constexpr unsigned long long Block = 5000;

    unsigned int GetSize(unsigned long long * result) {
        *result = bytes.size();
        return Call();
    }
    unsigned int FindData(unsigned long long from, unsigned long long end, SparseRange * range) {
        *range = {end, end};
        for (unsigned long long block = from / Block; block < written.size(); ++block)
            if (written[block]) {
                *range = {block * Block, (block + 1) * Block}; // may begin before, and end behind
                break;
            }
        return Call();
    }
    unsigned int MakeSparse() { return Call(); }
    unsigned int SetSize(unsigned long long size) {
        bytes.resize(size);
        written.resize((size + Block - 1) / Block);
        return Call();
    }
    unsigned int ReadAt(unsigned long long place, char * to, unsigned int count,
                        unsigned int * read) {
        *read = place >= end ? 0 : static_cast<unsigned int>(bytes.copy(to, count, place));
        return Call();
    }
    unsigned int WriteAt(unsigned long long place, char const * from, unsigned int count) {
        bytes.replace(place, count, from, count);
        for (unsigned long long at = place; at < place + count; ++at)
            written[at / Block] = true;
        return Call();
    }

    std::string bytes;
    std::vector<bool> written;
    unsigned long long end = ~0ull; // what was cut off meanwhile cannot be read
    unsigned int fails = 0;

private:
    unsigned int Call() { return fails != 0 && --fails == 0 ? IO::FileError::DiskFull : 0; }
};

File Draw(std::mt19937 & random) {
    File file;
    file.SetSize(random() % 300000);
    for (std::size_t block = 0; block < file.written.size(); ++block)
        if (random() % 3 == 0)
            for (std::size_t i = block * File::Block;
                 i < std::min<std::size_t>((block + 1) * File::Block, file.bytes.size()); ++i) {
                file.bytes[i] = static_cast<char>('a' + random() % 26);
                file.written[block] = true;
            }
    return file;
}

} // namespace

TEST(SparseCopy, CopiesWhatIsWrittenAndNothingElse) {
    for (unsigned int seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        File from = Draw(random);
        File to;
        ASSERT_EQ(IO::CopySparse(from, to), IO::FileError::None);
        ASSERT_TRUE(to.bytes == from.bytes);
        ASSERT_EQ(to.written, from.written);
        from.end = from.bytes.size() / 2;
        File cut;
        ASSERT_EQ(IO::CopySparse(from, cut), IO::FileError::None);
        ASSERT_EQ(cut.bytes.size(), from.bytes.size());
    }
}

TEST(SparseCopy, ReportsEachFailure) {
    std::mt19937 random(7);
    File const whole = Draw(random);
    for (bool inTarget : {false, true}) {
        unsigned int error = IO::FileError::DiskFull;
        for (unsigned int n = 1; error != IO::FileError::None; ++n) {
            File from = whole;
            File to;
            (inTarget ? to : from).fails = n;
            error = IO::CopySparse(from, to);
            ASSERT_TRUE(error == IO::FileError::DiskFull || to.bytes == whole.bytes) << n;
            ASSERT_LT(n, 1000u);
        }
    }
}
