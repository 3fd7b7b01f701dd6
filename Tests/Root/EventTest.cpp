#include <Kestrel/Root/Event.h>

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
    source.Attach(a);
    source.Attach(b);
    source.Attach(a);
    source.Attach(c);
    EXPECT_EQ(List(source), (std::vector<Mu::EventObserver *>{&a, &b, &c}));
    source.Detach(b);
    source.Detach(b);
    EXPECT_EQ(List(source), (std::vector<Mu::EventObserver *>{&a, &c}));
}

TEST(EventSource, LetsAnObserverDetachItselfWhileAllAreTold) {
    Source source;
    Observer a, b;
    source.Attach(a);
    source.Attach(b);
    unsigned int told = 0;
    for (Mu::EventObserver * observer : source.EnumerateObservers()) {
        source.Detach(*observer);
        ++told;
    }
    EXPECT_EQ(told, 2u);
    EXPECT_TRUE(List(source).empty());
}
