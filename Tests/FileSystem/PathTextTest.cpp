#include <Kestrel/FileSystem/Internal/PathText.h>

#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

TEST(PathText, JoinsFolderAndName) {
    struct {
        char16_t const * folder;
        char16_t const * name;
        char const * path;
    } const table[] = {
        {u"", u"C:", "C:\\"},
        {u"C:\\", u"a", "C:\\a"},
        {u"C:/", u"a", "C:/a"},
        {u"C:\\a", u"b", "C:\\a\\b"},
        {u"\\\\host", u"share", "\\\\host\\share\\"},
        {u"\\\\host\\", u"share", "\\\\host\\share\\"},
        {u"\\\\host\\share", u"a", "\\\\host\\share\\a"},
    };
    for (auto const & row : table)
        EXPECT_EQ(ToUtf8(IO::JoinPath(row.folder, row.name)), row.path);
}

TEST(PathText, KnowsTheRootOfAPath) {
    struct {
        char16_t const * path;
        char const * root; // empty: none
        bool isShareRoot;
        bool isDriveRoot;
    } const table[] = {
        {u"", "", false, false},
        {u"C:", "", false, false},
        {u"C:\\", "C:\\", false, true},
        {u"C:/", "C:\\", false, true},
        {u"C:\\a", "C:\\", false, false},
        {u"C:\\a\\", "C:\\", false, false},
        {u"\\\\host", "", true, false},
        {u"\\\\host\\", "", true, false},
        {u"//host/", "", true, false},
        {u"\\\\host\\share", "\\\\host\\share\\", false, false},
        {u"\\\\host\\share\\", "\\\\host\\share\\", false, true},
        {u"\\\\host\\share\\a", "\\\\host\\share\\", false, false},
        {u"\\a", "\\", false, false},
        {u"\\\\", "\\", false, false},
    };
    for (auto const & row : table) {
        SCOPED_TRACE(ToUtf8(Mu::UniString(row.path)));
        EXPECT_EQ(ToUtf8(IO::GetRootPath(row.path)), row.root);
        EXPECT_EQ(IO::IsShareRoot(row.path), row.isShareRoot);
        EXPECT_EQ(IO::IsDriveRoot(row.path), row.isDriveRoot);
    }
}
