#include <Kestrel/Root/Objects/ClassInfo.h>

#include "Tests/Support/Root/ByteChannels.h"

#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Values/Guid.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

class Shape : public Mu::Object {
public:
    Mu::ClassInfo const & GetClassInfo() const override;
    static Mu::Object * Make() { return new Shape; }
};

class Colour : public Mu::CustomClassProperty {
public:
    Colour() : CustomClassProperty("Colour") {}
    char const * GetValueName(unsigned int value) const override {
        return value == 1 ? "red" : nullptr;
    }
};

Colour const colour;
Mu::ClassInfo const bareInfo("Tests::Bare");
Mu::ClassInfo const shapeInfo("Tests::Shape", Mu::ClassProperty(Mu::ClassVersion(3, 1)),
                              Mu::ClassProperty(), Mu::ClassProperty(bareInfo),
                              Mu::ClassProperty::OldVersion(Mu::ClassVersion(2, 0)),
                              Mu::ClassProperty(&Shape::Make), Mu::ClassProperty(bareInfo),
                              Mu::ClassProperty(Mu::ObjectDefaults(0x30)),
                              Mu::ClassProperty(colour, Mu::CustomClassPropertyValue(1)));

Mu::ClassInfo const & Shape::GetClassInfo() const {
    return shapeInfo;
}

// Gathers names and stops after so many.
template <typename Enumerator>
class Names final : public Enumerator {
public:
    explicit Names(std::size_t limit = 1000000) : limit(limit) {}
    bool ClassInfoFound(Mu::ClassInfo const & info) { return Add(info.GetName()); }
    bool InstanceFound(Mu::CustomClassProperty const & property) { return Add(property.GetName()); }

    std::vector<std::string> found;

private:
    bool Add(char const * name) {
        found.push_back(name);
        return found.size() < limit;
    }

    std::size_t limit;
};

using AllClasses = Names<Mu::ClassInfoEnumerator>;
using BaseClasses = Names<Mu::ClassInfo::BaseClassEnumerator>;
using AllProperties = Names<Mu::CustomClassProperty::InstanceEnumerator>;

std::size_t Count(std::vector<std::string> const & names, std::string const & name) {
    return static_cast<std::size_t>(std::count(names.begin(), names.end(), name));
}

TEST(ClassInfo, TellsWhatItWasMadeWith) {
    EXPECT_STREQ(shapeInfo.GetName(), "Tests::Shape");
    EXPECT_EQ(shapeInfo.GetVersion(), Mu::ClassVersion(3, 1));
    EXPECT_EQ(shapeInfo.GetOldVersion(), Mu::ClassVersion(2, 0));
    EXPECT_EQ(shapeInfo.GetObjectDefaults(), 0x30u);
    EXPECT_EQ(shapeInfo.GetCustomPropertyValue(colour).GetValueUInt32(), 1u);
    EXPECT_TRUE(shapeInfo.HasConstructor());
    std::unique_ptr<Mu::Object> const made(shapeInfo.Construct());
    EXPECT_EQ(&made->GetClassInfo(), &shapeInfo);
    BaseClasses bases;
    shapeInfo.EnumerateBaseClasses(&bases);
    EXPECT_EQ(bases.found, (std::vector<std::string>{"Tests::Bare", "Tests::Bare"}));
    BaseClasses one(1);
    shapeInfo.EnumerateBaseClasses(&one);
    EXPECT_EQ(one.found.size(), 1u);
    EXPECT_EQ(bareInfo.GetVersion(), Mu::ClassVersion(0, 0));
    EXPECT_EQ(bareInfo.GetCustomPropertyValue(colour).GetValueUInt32(), 0u);
    EXPECT_EQ(bareInfo.Construct(), nullptr);
    EXPECT_FALSE(bareInfo.HasConstructor());
    Tests::ByteOChannel channel; // a class that overrides nothing can do nothing
    Tests::ByteIChannel input("abc");
    EXPECT_EQ(made->Clone(), nullptr);
    EXPECT_EQ(made->Write(channel), Mu::Error);
    EXPECT_EQ(made->Read(input), Mu::Error);
    EXPECT_EQ(made->CheckState(), Mu::NoError);
    AllProperties all;
    Mu::CustomClassProperty::EnumerateInstances(&all);
    EXPECT_EQ(Count(all.found, "Colour"), 1u);
}

TEST(ClassInfo, IsKnownByItsName) {
    char text[Mu::Guid::TextSize];
    Mu::ClassInfo const empty("a");
    empty.GetId().ConvertToString(text);
    EXPECT_STREQ(text, "0cc175b9-c0f1-b6a8-31c3-99e269772661") << "the digest of the name";
    EXPECT_EQ(empty.GetType().first, 0x0CC175B9u);
    EXPECT_EQ(empty.GetType().second, empty.GetNameHash());
    EXPECT_NE(shapeInfo.GetNameHash(), bareInfo.GetNameHash());
}

TEST(ClassManager, KnowsTheRecordsThatLive) {
    auto const count = [](std::string const & name) {
        AllClasses all;
        Mu::classManager.EnumerateClassInfos(&all);
        return Count(all.found, name);
    };
    EXPECT_EQ(count("Tests::Shape"), 1u);
    EXPECT_EQ(count("Mu::HashTable"), 1u);
    {
        Mu::ClassInfo const passing("Tests::Passing");
        Mu::ClassInfo const last("Tests::Last");
        EXPECT_EQ(count("Tests::Passing"), 1u);
    }
    EXPECT_EQ(count("Tests::Passing") + count("Tests::Last"), 0u);
    AllClasses two(2);
    Mu::classManager.EnumerateClassInfos(&two);
    EXPECT_EQ(two.found.size(), 2u);
}

TEST(ClassManager, KeepsARecordWhileItIsVisited) {
    auto mortal = std::make_unique<Mu::ClassInfo const>("Tests::Mortal");
    auto suicidal = std::make_unique<Mu::ClassInfo const>("Tests::Suicidal");
    auto next = std::make_unique<Mu::ClassInfo const>("Tests::Next");
    Mu::ClassInfo const last("Tests::Last");
    std::atomic<bool> isEnding = false;
    std::atomic<bool> hasEnded = false;
    std::thread unloading;
    struct Visitor : Mu::ClassInfoEnumerator {
        std::function<void(std::string const &)> visit;
        bool ClassInfoFound(Mu::ClassInfo const & info) override {
            visit(info.GetName());
            return true;
        }
    } visitor;
    std::vector<std::string> found;
    visitor.visit = [&](std::string const & name) {
        found.push_back(name);
        if (name == "Tests::Mortal") {
            unloading = std::thread([&] {
                isEnding = true;
                mortal.reset();
                hasEnded = true;
            });
            while (!isEnding)
                std::this_thread::yield();
            for (int i = 0; i < 100; ++i)
                std::this_thread::yield();
            EXPECT_FALSE(hasEnded);
        } else if (name == "Tests::Suicidal") {
            suicidal.reset(); // within a visit nothing is waited for
            next.reset();
        }
    };
    Mu::classManager.EnumerateClassInfos(&visitor);
    unloading.join();
    ASSERT_GE(found.size(), 3u);
    found.erase(found.begin(), found.end() - 3);
    EXPECT_EQ(found, (std::vector<std::string>{"Tests::Mortal", "Tests::Suicidal", "Tests::Last"}));
}

} // namespace
