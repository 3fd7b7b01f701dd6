#include <Kestrel/Root/Platform/MachineCharCode.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Text/NarrowText.h>
#include <Kestrel/Root/Text/UniString.h>

#include <windows.h>

#include <gtest/gtest.h>

using Mu::UniString;

TEST(MachineCharCode, IsTheAnsiCodePage) {
    if (GetACP() != 1252)
        GTEST_SKIP() << "the expected bytes are those of code page 1252, not of " << GetACP();
    UniString const text("\x80\xE4z");
    EXPECT_TRUE(text == u"\u20AC\u00E4z");
    EXPECT_STREQ(text.ToCStr(), "\x80\xE4z");
    EXPECT_TRUE(text == "\x80\xE4z");
    EXPECT_EQ(text.FindFirstIn("x\xE4"), 1u);
    char narrow[] = "\xC4 X";
    CHtoLower(narrow, -1, MuMachineCharCode);
    EXPECT_STREQ(narrow, "\xE4 x");
    EXPECT_EQ(CHCompareTexts("\xC4", -1, "\xE4", -1, Mu::IgnoreCase, MuMachineCharCode), 1);
}

TEST(MachineCharCode, MarksWhatItCannotExpress) {
    if (GetACP() == CP_UTF8)
        GTEST_SKIP() << "this code page expresses everything";
    UniString const text(u"a\u2215\uFF0E"); // look-alikes of a separator and a dot
    EXPECT_STREQ(text.ToCStr(), "a??");
    EXPECT_THROW(
        static_cast<void>(text.ToCStr(0, 9, MuMachineCharCode, Mu::ThrowOnConversionError)),
        Mu::ConversionErrorException);
    EXPECT_STREQ(text.ToCStr(0, 1, MuMachineCharCode, Mu::ThrowOnConversionError), "a");
}

TEST(MachineCharCode, ConvertsLongTexts) {
    UniString text;
    text.Pad(1000, 'x');
    Mu::CStr const narrow = text.ToCStr();
    EXPECT_EQ(narrow.GetLength(), 1000u);
    EXPECT_TRUE(UniString(narrow) == text);
}
