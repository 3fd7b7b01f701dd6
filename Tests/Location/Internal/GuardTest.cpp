#include <Kestrel/Location/Internal/Guard.h>

#include <Kestrel/Location/Internal/AddressTree.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Root/Platform/SystemCalls.h>

#include "Tests/Support/Gate.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

bool RefuseWait(Mu::Platform::WaitPlace &, std::atomic<unsigned int> &, unsigned int,
                unsigned long long) {
    return false;
}

} // namespace

// The system refuses to let a thread wait for the tree: that comes out, and does not end the process.
TEST(Guard, LetsOutThatTheTreeCannotBeLocked) {
    Mu::Platform::SystemCalls const saved = Mu::Platform::systemCalls;
    IO::RelativeLocation location(IO::Name("a"));
    IO::RelativeLocation const more(IO::Name("b"));
    Tests::Gate held, release;
    std::thread holder([&] {
        IO::AddressTree::Turn const turn;
        held.Open();
        release.Wait();
    });
    held.Wait();
    Mu::Platform::systemCalls.wait = RefuseWait;
    EXPECT_THROW(static_cast<void>(location.Append(more)), Mu::SynchronizationException);
    EXPECT_THROW(static_cast<void>(location.Set("rel:///c")), Mu::SynchronizationException);
    Mu::Platform::systemCalls = saved;
    release.Open();
    holder.join();
    EXPECT_EQ(location.Append(more), IO::NoError);
}
