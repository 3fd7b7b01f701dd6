#include <Kestrel/Root/Threads/Event.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

class Source final : public Mu::EventSource {};
class Observer final : public Mu::EventObserver {};

std::vector<Mu::EventObserver *> List(Source const & source) {
    Mu::Array<Mu::EventObserver *> const observers = source.EnumerateObservers();
    return {observers.begin(), observers.end()};
}

} // namespace

TEST(EventSource, KeepsItsObserversInOrderAndOnce) {
    Source source;
    Observer a, b, c;
    for (Observer * observer : {&a, &b, &a, &c})
        source.Attach(*observer);
    EXPECT_EQ(List(source), (std::vector<Mu::EventObserver *>{&a, &b, &c}));
    source.Detach(b);
    source.Detach(b);
    EXPECT_EQ(List(source), (std::vector<Mu::EventObserver *>{&a, &c}));
    for (Mu::EventObserver * observer : source.EnumerateObservers())
        source.Detach(*observer); // while all are notified
    EXPECT_TRUE(List(source).empty());
}
