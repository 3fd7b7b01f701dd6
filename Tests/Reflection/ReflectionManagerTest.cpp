#include <Kestrel/Reflection/ReflectionManager.h>

#include "Tests/Support/Reflection/Level.h"

#include <Kestrel/Reflection/Reflectable.h>

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using IO::Reflectable;
using IO::ReflectionManager;
using IO::RelativeLocation;

struct Row {
    std::string location;
    Reflectable * reflectable;
    bool operator==(Row const &) const = default;
};

std::vector<Row> ListRows() {
    struct Lister : ReflectionManager::Enumerator {
        std::vector<Row> rows;
        bool Visit(RelativeLocation const & location, Reflectable * reflectable) override {
            std::string text;
            for (unsigned int i = 0; i < location.GetLength(); ++i)
                text += std::string(i == 0 ? "" : "/") +
                        Reflectable::GetName(location, i).ToString().ToCStr().GetText();
            rows.push_back({text, reflectable});
            return true;
        }
    } lister;
    EXPECT_TRUE(ReflectionManager::Enumerate(&lister));
    return lister.rows;
}

bool IsAt(std::string const & upper, std::string const & location) {
    return upper.empty() || location == upper || location.starts_with(upper + "/");
}

// As a plain list of rows; other objects of the process stand in front of it.
TEST(ReflectionManager, IsAListOfRows) {
    char const * const places[] = {"t", "t/a", "t/a/b", "t/b", "t/b/c/d", "u/a"};
    for (unsigned int seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Reflectable objects[4];
        std::vector<Row> model = ListRows();
        std::vector<Row> const others = model;
        for (int step = 0; step < 40; ++step) {
            std::string const place = places[random() % std::size(places)];
            Reflectable * const object = &objects[random() % std::size(objects)];
            RelativeLocation const location(place.c_str());
            bool const check = random() % 2 == 0;
            if (random() % 3 != 0) {
                bool isFree = true;
                for (Row const & row : model)
                    isFree &= !IsAt(row.location, place) && !IsAt(place, row.location);
                bool const registers = !check || isFree;
                ASSERT_EQ(ReflectionManager::Register(location, object, check), registers);
                if (registers)
                    model.push_back({place, object});
            } else {
                ReflectionManager::Unregister(object);
                for (std::size_t i = 0; i < model.size(); ++i)
                    if (model[i].reflectable == object) // and passes over the next one
                        model.erase(model.begin() + static_cast<std::ptrdiff_t>(i));
            }
            ASSERT_EQ(ListRows(), model);
            auto const found = std::find_if(model.begin(), model.end(), [&](Row const & row) {
                return IsAt(row.location, place);
            });
            RelativeLocation rest("old");
            Reflectable * const expected = found == model.end() ? nullptr : found->reflectable;
            ASSERT_EQ(ReflectionManager::Find(location, &rest), expected);
            if (expected != nullptr) {
                RelativeLocation whole(found->location.c_str());
                EXPECT_EQ(whole.Append(rest), IO::NoError);
                EXPECT_TRUE(whole == location);
            }
        }
        for (int i = 0; i < 100 && ListRows() != others; ++i)
            for (Reflectable & object : objects)
                ReflectionManager::Unregister(&object);
    }
}

TEST(ReflectionManager, RegistersInTheConstructorUnlessThereIsOne) {
    {
        Reflectable const first(RelativeLocation("self"));
        Reflectable const second(RelativeLocation("self/below"));
        EXPECT_EQ(ReflectionManager::Find(RelativeLocation("self/below"), nullptr), &first);
        Reflectable copy;
        copy = first;
        EXPECT_TRUE(ReflectionManager::Register(RelativeLocation("copy"), &copy, true));
    }
    EXPECT_EQ(ReflectionManager::Find(RelativeLocation("self"), nullptr), nullptr);
    EXPECT_EQ(ReflectionManager::Find(RelativeLocation("copy"), nullptr), nullptr);
    auto const & none = Tests::NullReference<RelativeLocation const>();
    Reflectable object;
    EXPECT_FALSE(ReflectionManager::Register(none, &object, false));
    EXPECT_FALSE(ReflectionManager::Register(Tests::MakeInvalidRelative(), &object, false));
    EXPECT_EQ(ReflectionManager::Find(none, nullptr), nullptr);
    EXPECT_FALSE(ReflectionManager::Register(RelativeLocation("self"), nullptr, false));
    EXPECT_FALSE(ReflectionManager::Enumerate(nullptr));
    ReflectionManager::Unregister(nullptr);
}

// Hooks run without a lock, so that they may do all this themselves.
TEST(ReflectionManager, LetsAVisitChangeTheTable) {
    struct Changer : ReflectionManager::Enumerator {
        std::vector<std::unique_ptr<Reflectable>> made;
        bool Visit(RelativeLocation const &, Reflectable * reflectable) override {
            if (!made.empty() && reflectable == made.back().get()) {
                made.pop_back(); // not waited for
                return false;
            }
            if (made.empty())
                made.push_back(std::make_unique<Reflectable>(RelativeLocation("made")));
            return true;
        }
    } changer;
    Reflectable const before(RelativeLocation("before"));
    EXPECT_FALSE(ReflectionManager::Enumerate(&changer)) << "what came meanwhile was visited";
    EXPECT_EQ(ReflectionManager::Find(RelativeLocation("made"), nullptr), nullptr);
}

TEST(ReflectionManager, WaitsForQuestionsBeforeAnObjectGoes) {
    Reflectable object;
    ASSERT_TRUE(ReflectionManager::Register(RelativeLocation("mortal"), &object, true));
    Tests::ExpectWaits("mortal", [&] { ReflectionManager::Unregister(&object); });
}

} // namespace
