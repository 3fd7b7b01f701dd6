#include <Kestrel/Root/Errors/Exceptions.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Root/ByteChannels.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

// A default argument that is used before this program's own static objects are all made.
bool const usedEarly = !Mu::GeneralException("early").HasCause();

std::string ToDump(Mu::MuException const & e) {
    Tests::ByteOChannel channel;
    e.Dump(channel);
    return channel.GetBytes();
}

template <typename E>
class Family : public ::testing::Test {};
using Exceptions = ::testing::Types<
    Mu::GeneralException, Mu::IOException, Mu::InterruptedIOException, Mu::LogicErrorException,
    Mu::IllegalArgumentException, Mu::IllegalReferenceException, Mu::NullReferenceException,
    Mu::PreconditionException, Mu::RunTimeErrorException, Mu::ConversionErrorException,
    Mu::SynchronizationException, Mu::ThreadingException, Mu::OutOfMemoryException>;
TYPED_TEST_SUITE(Family, Exceptions);

TYPED_TEST(Family, IsCaughtByEachOfItsBasesAndClonesAsWhatItIs) {
    TypeParam const thrown("What happened.", "Here.cpp", 42, Mu::NoCauseException);
    EXPECT_THROW(throw thrown, std::exception);
    EXPECT_THROW(throw thrown, Mu::RootException);
    EXPECT_THROW(throw thrown, Mu::MuException);
    std::unique_ptr<Mu::MuException> const clone(thrown.Clone());
    EXPECT_NE(dynamic_cast<TypeParam *>(clone.get()), nullptr);
    EXPECT_STREQ(clone->what(), "What happened.");
    EXPECT_STREQ(clone->GetFileName(), "Here.cpp");
    EXPECT_EQ(clone->GetLineNumber(), 42u);
    bool const memory = std::is_same_v<TypeParam, Mu::OutOfMemoryException>;
    EXPECT_EQ(clone->GetID(), memory ? -108 : -7003);
    EXPECT_STREQ(clone->GetName(), thrown.GetName());
}

TEST(MuException, TellsItsCauses) {
    EXPECT_TRUE(usedEarly);
    std::string dump;
    try {
        try {
            throw Mu::IOException(U("no \xC3\xA4"), "a.cpp", 1, Mu::NoCauseException, 99);
        } catch (Mu::MuException const & e) {
            throw Mu::ThreadingException("the thread died", "b.cpp", 2, e);
        }
    } catch (Mu::MuException const & e) {
        dump = ToDump(e);
        EXPECT_STREQ(e.GetCause().GetName(), "IOException");
        EXPECT_EQ(e.GetCause().GetID(), 99);
        EXPECT_EQ(&e.GetCause().GetCause(), &Mu::NoCauseException);
    }
    EXPECT_EQ(dump, "ThreadingException: the thread died (b.cpp:2, id -7003)\n"
                    "caused by IOException: no \xC3\xA4 (a.cpp:1, id 99)\n");
}

TEST(MuException, KeepsItsTextWhenItIsCopiedAndAssigned) {
    std::unique_ptr<Mu::MuException> copy;
    Mu::MuException assigned("other");
    {
        std::string text = "a text that goes away";
        Mu::MuException const original(text.c_str(), "a.cpp", 3, Mu::IOException("cause"), 5);
        text.assign(text.size(), '!');
        copy = std::make_unique<Mu::MuException>(original);
        assigned = original;
        Mu::MuException const & itself = assigned;
        assigned = itself;
    }
    EXPECT_EQ(ToDump(*copy), "MuException: a text that goes away (a.cpp:3, id 5)\n"
                             "caused by IOException: cause (:0, id -7003)\n");
    EXPECT_EQ(ToDump(assigned), ToDump(*copy));
    EXPECT_STREQ(Mu::MuException(static_cast<char const *>(nullptr), nullptr).GetFileName(), "");
}

// Whatever allocation fails, what is thrown is the exception that was meant, with less in it.
TEST(MuException, IsThrownWithoutMemoryToo) {
    Mu::UniString const message = U(std::string(400, 'm'));
    SweepAllocations([&](bool failed) {
        try {
            Mu::IOException const cause(message, "a.cpp", 1);
            throw Mu::IllegalArgumentException("refused", "b.cpp", 2, cause);
        } catch (Mu::IllegalArgumentException const & e) {
            if (failed)
                return;
            EXPECT_STREQ(e.GetMessage(), "refused");
            EXPECT_EQ(std::string(e.GetCause().GetMessage()), std::string(400, 'm'));
        }
    });
}

TEST(OutOfMemoryException, TakesNoMemory) {
    unsigned long long const before = Tests::CountAllocations();
    try {
        throw Mu::OutOfMemoryException();
    } catch (Mu::OutOfMemoryException const & e) {
        Mu::OutOfMemoryException const copy(e);
        EXPECT_STREQ(copy.what(), "Out of memory.");
        EXPECT_EQ(&copy.GetCause(), &Mu::NoCauseException);
    }
    EXPECT_EQ(Tests::CountAllocations(), before);
}

} // namespace
