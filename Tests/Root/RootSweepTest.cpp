// The classes of the root that stand beside those with sweeps of their own, a few together in each
// scenario, while memory fails.

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/Root/ByteChannels.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Root/Array.h>
#include <Kestrel/Root/BinaryChannel.h>
#include <Kestrel/Root/BugReport.h>
#include <Kestrel/Root/ClassInfo.h>
#include <Kestrel/Root/Concatenation.h>
#include <Kestrel/Root/Condition.h>
#include <Kestrel/Root/ErrorCategory.h>
#include <Kestrel/Root/ErrorCodes.h>
#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/Frame.h>
#include <Kestrel/Root/Guid.h>
#include <Kestrel/Root/HashSet.h>
#include <Kestrel/Root/HashTable.h>
#include <Kestrel/Root/Lock.h>
#include <Kestrel/Root/MD5.h>
#include <Kestrel/Root/Memory.h>
#include <Kestrel/Root/NarrowText.h>
#include <Kestrel/Root/Process.h>
#include <Kestrel/Root/SharedPtr.h>
#include <Kestrel/Root/String.h>
#include <Kestrel/Root/Substring.h>
#include <Kestrel/Root/Thread.h>
#include <Kestrel/Root/Time.h>
#include <Kestrel/Root/Timeout.h>
#include <Kestrel/Root/Timer.h>
#include <Kestrel/Root/UniString.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

namespace {

using Mu::NoError;

std::string const longText(300, 't'); // does not fit into the place that a text has for a short one

// Concatenation, ConstSubstring, Substring, FormatArgument, ScanTarget, CStr, UStr, UniChar.
TEST(RootSweep, TextIsWholeOrRefused) {
    Mu::UniString const part = U(longText);
    SweepAllocations([&](bool) {
        Mu::UniString text = Mu::UniString("<") + part + ">";
        EXPECT_EQ(ToUtf8(text), "<" + longText + ">");
        text(1, 299) = "x";
        EXPECT_EQ(ToUtf8(text), "<xt>");
        text(1, 1) = part(0, 200);
        text(1, 200).SetToUpperCase();
        EXPECT_EQ(ToUtf8(text), "<" + std::string(200, 'T') + "t>");
        EXPECT_EQ(
            Mu::UniChar::Compare(text.GetUnits() + 1, 200, part.GetUnits(), 200, Mu::IgnoreCase),
            Mu::Equal);
        Mu::UniString const written = Mu::UniString::Printf("%s %d %s", part, 17, "end");
        Mu::UniString first;
        int number = 0;
        EXPECT_EQ(written.Scanf("%s %d", &first, &number), 2);
        EXPECT_EQ(first, part);
        EXPECT_EQ(number, 17);
        EXPECT_EQ(std::string(written.ToCStr()), longText + " 17 end");
        EXPECT_EQ(written.ToUStr().GetLength(), written.GetLength());
    });
}

TEST(RootSweep, NarrowTextIsComparedRightOrNotAtAll) {
    std::string const upper(300, 'T');
    SweepAllocations([&](bool) {
        EXPECT_EQ(
            CHCompareTexts(longText.c_str(), -1, upper.c_str(), -1, Mu::IgnoreCase, MuLogCharCode),
            Mu::Equal);
        std::string const inside = "x" + upper;
        EXPECT_EQ(
            CHSearchSubstring(longText.c_str(), inside.c_str(), -1, Mu::IgnoreCase, MuLogCharCode),
            inside.c_str() + 1);
    });
}

struct Values {
    Mu::Array<unsigned int> numbers;
    Mu::HashSet<Mu::UniString> names;
    Mu::HashTable<Mu::String, unsigned int> ages;
    Mu::UniString text;
    Mu::Guid guid;

    void Fill() {
        for (unsigned int i = 0; i < 40; ++i) {
            numbers.Push(i);
            names.Insert(Mu::UniString::Printf("name %d", i));
            ages.Set(Mu::String(std::to_string(i).c_str()), i);
        }
        text = U(longText);
        guid.data1 = 7;
    }

    MuErrCode Write(Mu::OChannel & channel) const {
        numbers.Write(channel);
        names.Write(channel);
        ages.Write(channel);
        text.Write(channel);
        guid.WriteStructured(channel);
        return channel.GetOutputStatus();
    }

    MuErrCode Read(Mu::IChannel & channel) {
        MuErrCode status = numbers.Read(channel);
        auto const take = [&](auto & value) {
            if (status == NoError)
                status = value.Read(channel);
        };
        take(names);
        take(ages);
        take(text);
        return status != NoError ? status : guid.ReadStructured(channel);
    }

    bool IsFilled() const {
        return numbers.GetSize() == 40 && names.GetSize() == 40 && ages.GetSize() == 40 &&
               ToUtf8(text) == longText && guid.data1 == 7;
    }
};

// OutputFrame, InputFrame, FrameVersionScope, HashSet, HashTable, Guid.
TEST(RootSweep, ObjectsAreReadWholeOrRefused) {
    Values values;
    values.Fill();
    Tests::ByteOChannel output;
    ASSERT_EQ(values.Write(output), NoError);
    SweepAllocations([&](bool failed) {
        Tests::ByteIChannel input(output.GetBytes());
        Values read;
        MuErrCode const status = read.Read(input);
        EXPECT_TRUE(status == NoError || (failed && status == Mu::ErrMemoryFull)) << status;
        EXPECT_EQ(read.IsFilled(), status == NoError);
        Mu::FrameVersionScope const scope(Mu::ArrayPrivate::classInfo, Mu::ClassVersion(9, 1));
        Tests::ByteOChannel newer;
        EXPECT_EQ(values.numbers.Write(newer), NoError);
        Tests::ByteIChannel again(newer.GetBytes());
        Mu::InputFrame const frame(again, Mu::ArrayPrivate::classInfo);
        EXPECT_EQ(frame.GetMainVersion(), 9u);
    });
}

Mu::Object * MakeText() {
    return new Mu::UniString(U(longText));
}

// ClassInfo, ClassProperty, ClassVersion, ClassManager, CustomClassProperty, Object.
TEST(RootSweep, ClassRecordsNeedNoMemory) {
    SweepAllocations([](bool failed) {
        Mu::CustomClassProperty const color("color");
        Mu::ClassInfo const info("Sweep::Thing", Mu::ClassVersion(2, 1), MakeText,
                                 Mu::ClassProperty(color, Mu::CustomClassPropertyValue(5)));
        struct Search : Mu::ClassInfoEnumerator {
            bool ClassInfoFound(Mu::ClassInfo const & found) override {
                isFound |= std::strcmp(found.GetName(), "Sweep::Thing") == 0;
                return true;
            }
            bool isFound = false;
        } search;
        Mu::classManager.EnumerateClassInfos(&search);
        EXPECT_TRUE(search.isFound);
        EXPECT_EQ(info.GetCustomPropertyValue(color).GetValueUInt32(), 5u);
        std::unique_ptr<Mu::Object> object;
        std::unique_ptr<Mu::Object> copy;
        object.reset(info.Construct());
        copy.reset(object->Clone());
        EXPECT_TRUE(failed || copy != nullptr);
        EXPECT_TRUE(copy == nullptr || static_cast<Mu::UniString &>(*copy) == U(longText));
    });
}

class Waker : public Mu::Runnable {
public:
    Waker(Mu::Lock & lock, Mu::Condition & condition, bool & isWoken)
        : lock(lock), condition(condition), isWoken(isWoken) {}
    void Run() override {
        Mu::LockGuard guard(lock);
        isWoken = true;
        condition.NotifyAll();
    }

private:
    Mu::Lock & lock;
    Mu::Condition & condition;
    bool & isWoken;
};

// Thread, RunnableTask, Lock, FastLock, ReentrantLock, SpinLock, Condition and its WaitQueue.
TEST(RootSweep, ThreadsWaitForEachOtherWithoutMemory) {
    SweepAllocations([](bool failed) {
        Mu::Lock lock;
        Mu::FastLock fast;
        Mu::ReentrantLock reentrant;
        Mu::SpinLock spin;
        Mu::Condition condition(lock);
        bool isWoken = false;
        Mu::Thread thread(Mu::RunnableTask(new Waker(lock, condition, isWoken)), "waker");
        {
            Mu::LockGuard first(fast);
            Mu::LockGuard second(reentrant);
            Mu::LockGuard third(reentrant);
            Mu::LockGuard fourth(spin);
            EXPECT_FALSE(spin.TryEnter());
            EXPECT_TRUE(reentrant.TryEnter());
            reentrant.Leave();
        }
        if (!thread.Start()) {
            EXPECT_TRUE(failed);
            return;
        }
        {
            Mu::LockGuard guard(lock);
            while (!isWoken)
                condition.Wait();
        }
        thread.Join(false);
        EXPECT_FALSE(thread.IsRunning());
    });
}

class Counted : public Mu::SharedObject {
public:
    Mu::UniString text = U(longText);
};

class FewBytes : public Mu::IBinaryChannel {
public:
    using Mu::IBinaryChannel::Read;
    unsigned int Read(char * destination, unsigned int count) override {
        unsigned int const given = std::min({count, left, 3u});
        std::memset(destination, 'b', given);
        left -= given;
        return given;
    }
    unsigned int GetAvailable() override { return left; }
    void Close() override { left = 0; }

private:
    unsigned int left = 10;
};

// Clock, Timeout, Timer, SharedPtr, CachedAllocator, IBinaryChannelUtilities, MD5::Generator, and the
// plain functions of time, process, error category and crash report.
TEST(RootSweep, SmallToolsLeaveNothingBehind) {
    Tests::HandClock clock;
    SweepAllocations([&](bool) {
        Mu::Timer timer;
        Mu::timerManager.Start(timer);
        Mu::Timeout const timeout(5);
        Mu::clockManager.Sleep(0.005);
        EXPECT_TRUE(timeout.IsOver());
        EXPECT_DOUBLE_EQ(Mu::timerManager.GetElapsedSeconds(timer), 0.005);
        MuTimeRecord record;
        EXPECT_EQ(TIGetTimeRecord(TIGetTime(), &record), NoError);
        EXPECT_EQ(record.year, 2026);
        EXPECT_NE(Mu::Process::GetCurrentProcessId(), 0u);
        EXPECT_NE(IO::ErrorCategory().message(IO::ErrDeviceFull), "");
        BugRep_SetLogFileLocations("current", "previous");
        char path[20];
        EXPECT_TRUE(BugRep_GetCurrentLogFile(path, sizeof path));
        FewBytes channel;
        char bytes[12];
        EXPECT_EQ(Mu::IBinaryChannelUtilities::ReadFully(channel, bytes, 12), 10u);
        MD5::Generator generator;
        MD5::FingerPrint print;
        generator.Update(bytes, 10);
        generator.Finish(print);
        EXPECT_NE(print, MD5::FingerPrint());
        Mu::SharedPtr<Counted> const shared(new Counted);
        Mu::SharedPtr<Mu::SharedObject> const second(shared);
        EXPECT_EQ(shared->GetReferenceCount(), 2);
        Mu::CachedAllocator blocks(2, 64);
        unsigned int size = 0;
        if (void * const block = blocks.Allocate(60, &size)) {
            EXPECT_GE(size, 60u);
            blocks.Free(block, size);
        }
    });
    BugRep_SetLogFileLocations("", "");
}

} // namespace
