#include <Kestrel/Channel/OChannelAdapterForOBinaryChannel.h> // first: it stands on its own

#include <Kestrel/Root/Errors/Exceptions.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using IO::OChannelAdapterForOBinaryChannel;
using SharedSink = Mu::Ref<Mu::OBinaryChannel, Mu::AtomicCounter>;

struct Record {
    std::string text;
    unsigned int writes = 0;
    unsigned int throwAt = 0;
    bool throwForeign = false;
    bool gone = false;
};

class ThrowingSink : public Mu::OBinaryChannel, public Mu::Allocated {
public:
    explicit ThrowingSink(Record & record) : record(record) {}
    ~ThrowingSink() override { record.gone = true; }
    void Write(char const * source, unsigned int count) override {
        if (++record.writes == record.throwAt) {
            if (record.throwForeign)
                throw std::runtime_error("foreign");
            throw Mu::IOException("no more", __FILE__, __LINE__, Mu::NoCauseException,
                                  IO::OutputClosed);
        }
        record.text.append(source, count);
    }
    void Flush() override {}
    void Close() override {}

private:
    Record & record;
};

TEST(OChannelAdapterForOBinaryChannel, TurnsTheExceptionIntoItsStatus) {
    Record record;
    record.throwAt = 3;
    ThrowingSink sink(record);
    OChannelAdapterForOBinaryChannel channel(sink);
    for (MuErrCode expected : {IO::NoError, IO::NoError, IO::OutputClosed, IO::OutputClosed}) {
        (void)channel.WriteBin("x", 1, nullptr);
        EXPECT_EQ(channel.Flush(), expected);
    }
    EXPECT_EQ(channel.GetOutputStatus(), IO::OutputClosed);
    EXPECT_EQ(record.writes, 3u) << "the sink is left alone";
    EXPECT_EQ(record.text, "xx");
}

TEST(OChannelAdapterForOBinaryChannel, LetsOtherExceptionsThroughButNotOutOfItsDestructor) {
    Record record;
    record.throwAt = 1;
    record.throwForeign = true;
    ThrowingSink sink(record);
    OChannelAdapterForOBinaryChannel channel(sink);
    EXPECT_EQ(channel.Write('a'), IO::NoError);
    EXPECT_THROW((void)channel.Flush(), std::runtime_error);
    record.throwAt = 2;
    EXPECT_EQ(channel.Write('a'), IO::NoError);
}

TEST(OChannelAdapterForOBinaryChannel, KeepsASharedSinkUntilItHasFlushed) {
    Record record;
    EXPECT_THROW(OChannelAdapterForOBinaryChannel channel{SharedSink()},
                 Mu::NullReferenceException);
    {
        SharedSink shared(new ThrowingSink(record));
        OChannelAdapterForOBinaryChannel channel(shared);
        EXPECT_EQ(shared.GetCount(), 2);
        shared.Clear();
        EXPECT_FALSE(record.gone);
        EXPECT_EQ(channel.Write('a'), IO::NoError);
    }
    EXPECT_EQ(record.text, "a");
    EXPECT_TRUE(record.gone);
}

} // namespace
