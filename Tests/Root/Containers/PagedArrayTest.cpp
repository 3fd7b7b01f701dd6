#include <Kestrel/Root/Containers/PagedArray.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(PagedArray, NeverMovesWhatItHolds) {
    Mu::PagedArray<std::string> array;
    std::string * const first = &array.Push("first");
    for (int i = 1; i < 1000; ++i)
        array.Push(std::to_string(i));
    EXPECT_EQ(&array[0], first);
    unsigned int count = 0;
    for (std::string const & value : array)
        EXPECT_EQ(value, count++ == 0 ? "first" : std::to_string(count - 1));
    EXPECT_EQ(count, 1000u);
    array.DeleteLast();
    EXPECT_EQ(array.GetLast(), "998");
}

} // namespace
