#include <Kestrel/Root/Streams/ChannelWindow.h>

#include <gtest/gtest.h>

#include <string>

namespace {

// What does not fit is refused, and nothing has happened then. A number passes in the plain form alone.
TEST(ChannelWindow, PassesWhatFits) {
    for (std::size_t size = 0; size <= 40; ++size)
        for (unsigned int count = 0; count <= 41; ++count)
            for (unsigned int form = 0; form < 4; ++form) {
                std::string text(41, ' '), got(41, '?');
                for (std::size_t i = 0; i < size; ++i)
                    text[i] = static_cast<char>('a' + i);
                bool const fits = count > 0 && count <= size, passesNumbers = form == 3;
                Mu::InputWindow const in;
                Mu::OutputWindow const out;
                auto const expect = [&](auto window, bool isDone, std::size_t moved, auto act) {
                    window.Open(text.data(), text.data() + size, form & 1, form & 2);
                    ASSERT_EQ(act(window), isDone);
                    ASSERT_EQ(window.GetPlace(), text.data() + (isDone ? moved : 0));
                    window.CloseIfUsedUp();
                    ASSERT_EQ(window.IsOpen(), size > (isDone ? moved : 0));
                };
                auto const number = [&](auto value) {
                    std::size_t const width = sizeof(typename Mu::PlainForm<decltype(value)>::Type);
                    bool const isDone = passesNumbers && width <= size;
                    expect(out, isDone, width, [&](auto & w) { return w.PutNumber(value); });
                    auto read = value;
                    read = 0;
                    expect(in, isDone, width, [&](auto & w) { return w.GetNumber(read); });
                    ASSERT_EQ(read, isDone ? value : 0);
                };
                char * const to = got.data();
                bool const areFew = fits && count <= Mu::FewBytes;
                expect(in, areFew, count, [&](auto & w) { return w.TakeFew(to, count); });
                expect(in, fits, count, [&](auto & w) { return w.Take(to, count); });
                expect(in, count > 1 && count - 1 <= size, 0,
                       [&](auto & w) { return w.Copy(to + 1, count - 1); });
                expect(in, fits, 0, [&](auto & w) { return w.Look(count - 1, to + 40); });
                expect(in, fits, count, [&](auto & w) { return w.Skip(count); });
                expect(in, false, 0, [&](auto & w) { return w.Skip(count + (1ull << 32)); });
                if (fits) {
                    ASSERT_EQ(got.substr(0, count), text[0] + text.substr(0, count - 1));
                    ASSERT_EQ(got[40], text[count - 1]);
                }
                std::string const bytes(41, '#');
                expect(out, areFew, count, [&](auto & w) { return w.PutFew(bytes.data(), count); });
                ASSERT_EQ(text.find_first_not_of('#'), areFew ? count : 0);
                expect(out, fits, count, [&](auto & w) { return w.Put(bytes.data(), count); });
                ASSERT_EQ(text.find_first_not_of('#'), fits ? count : 0);
                number('c');
                number(static_cast<short>(-2));
                number(-3l);
                number(0.5);
            }
}

} // namespace
