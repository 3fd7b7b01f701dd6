#pragma once

#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/ReflectableUse.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Reflection/ReflectionManager.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace Tests {

using Texts = std::vector<std::string>;

/// Names, the names of columns, or values, as texts in UTF-8.
template <typename T>
Texts ToTexts(Mu::Array<T> const & items) {
    Texts texts;
    for (T const & item : items)
        if constexpr (std::is_same_v<T, IO::Reflectable::Attribute>)
            texts.push_back(ToUtf8(item.name));
        else if constexpr (std::is_same_v<T, IO::Reflectable::AttributeValue>)
            texts.push_back(ToUtf8(item.ToString()));
        else
            texts.push_back(ToUtf8(item));
    return texts;
}

/// No query about nothing, or without a place for the result, has one.
inline void ExpectRefusesNulls(IO::Reflectable const & asked) {
    IO::RelativeLocation const top;
    auto const & none = NullReference<IO::RelativeLocation const>();
    Mu::Array<IO::Name> names;
    Mu::Array<IO::Reflectable::Attribute> attributes;
    Mu::Array<IO::Reflectable::AttributeValue> values;
    ByteOChannel channel;
    EXPECT_FALSE(asked.GetChildren(none, &names, &names));
    EXPECT_FALSE(asked.GetChildren(top, nullptr, &names));
    EXPECT_FALSE(asked.GetChildren(top, &names, nullptr));
    EXPECT_FALSE(asked.GetAttributes(none, &attributes));
    EXPECT_FALSE(asked.GetAttributes(top, nullptr));
    EXPECT_FALSE(asked.GetAttributeValues(none, &values));
    EXPECT_FALSE(asked.GetAttributeValues(top, nullptr));
    EXPECT_FALSE(asked.GetContent(none, channel));
    EXPECT_FALSE(asked.GetContent(top, NullReference<Mu::OChannel>()));
}

/// What `end` does waits until the object at the place is not in use any more.
template <typename End>
void ExpectWaits(char const * place, End const & end) {
    std::atomic<bool> isInUse = false;
    std::atomic<bool> hasEnded = false;
    std::thread inspector([&] {
        IO::ReflectableUse const use{IO::RelativeLocation(place)};
        EXPECT_NE(use.Get(), nullptr);
        isInUse = true;
        for (int i = 0; i < 50; ++i) {
            std::this_thread::yield();
            EXPECT_FALSE(hasEnded);
        }
    });
    while (!isInUse)
        std::this_thread::yield();
    end();
    hasEnded = true;
    inspector.join();
}

/// An object with one dynamic level, below its root or a fixed one there, whose hooks a test gives it.
struct Level : IO::Reflectable {
    using Name = IO::Name;
    using Names = Mu::Array<Name>;
    using Value = AttributeValue;
    using Values = Mu::Array<Value>;
    using List = std::function<void(Names const & above, Names & folders, Names & files)>;
    using Describe = std::function<void(Name const & name, Values & values)>;

    CustomEntryGroup * group = CreateCustomEntryGroup();
    List list;
    Describe describe;

    /// Registered there, unless it is null.
    Level(char const * place, std::initializer_list<Attribute> columns, List list,
          Describe describe, char const * fixed = nullptr)
        : list(std::move(list)), describe(std::move(describe)) {
        Entry * above = CreateRootEntry();
        if (fixed != nullptr) {
            Entry * const below = CreateStaticEntry(fixed);
            Connect(above, below);
            above = below;
        }
        Connect(above, group);
        for (Attribute const & column : columns)
            AddAttribute(group, column.name, column.type);
        if (place != nullptr)
            IO::ReflectionManager::Register(IO::RelativeLocation(place), this, false);
    }
    ~Level() override { IO::ReflectionManager::Unregister(this); }
    bool GetEntries(CustomEntryGroup const *, Mu::Array<Entry const *> const &, Names const & above,
                    Names * folders, Names * files) const override {
        list(above, *folders, *files);
        return true;
    }
    bool GetEntryAttributeValues(CustomEntryGroup const *, Name const & name,
                                 Mu::Array<Entry const *> const &, Names const &,
                                 Values * values) const override {
        describe(name, *values);
        return true;
    }
};

} // namespace Tests
