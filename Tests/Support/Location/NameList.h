#pragma once

#include "Tests/Support/Location/Locations.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

namespace Tests {

/// The operations on one list of names of a class.
#define KESTREL_NAME_LIST(Side, Class, Suffix, AppendName)                                         \
    struct Side {                                                                                  \
        using Place = Class;                                                                       \
        static MuErrCode Append(Place & p, IO::Name const & n) { return p.AppendName(n); }         \
        static MuErrCode Get(Place & p, unsigned int i, IO::Name * n) {                            \
            return p.Get##Suffix(i, n);                                                            \
        }                                                                                          \
        static MuErrCode Set(Place & p, unsigned int i, IO::Name const & n) {                      \
            return p.Set##Suffix(i, n);                                                            \
        }                                                                                          \
        static MuErrCode Delete(Place & p, unsigned int i) { return p.Delete##Suffix(i); }         \
        static MuErrCode GetLast(Place & p, IO::Name * n) { return p.GetLast##Suffix(n); }         \
        static MuErrCode SetLast(Place & p, IO::Name const & n) { return p.SetLast##Suffix(n); }   \
        static MuErrCode DeleteLast(Place & p) { return p.DeleteLast##Suffix(); }                  \
        static MuErrCode MoveLast(Place & p, IO::Name * n) { return p.MoveLast##Suffix(n); }       \
    }

/// Whatever the order of operations, the list is a vector of names. Of a null argument each one
/// returns Error, of an unhealthy place the status beside it, and of an index that is not there
/// Error, in this order; what fails changes nothing, its output included. `check` gets the place and
/// its names behind each step.
template <typename Side, typename Check>
void ExpectAListOfNames(std::vector<std::pair<typename Side::Place, MuErrCode>> const & unhealthy,
                        Check const & check) {
    using Place = typename Side::Place;
    using Operation = std::function<MuErrCode(Place &)>;
    IO::Name const & null = NullReference<IO::Name const>();
    for (unsigned int seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Place place;
        Names names;
        for (int step = 0; step < 60; ++step) {
            std::string const text(1 + random() % 2, static_cast<char>('a' + random() % 4));
            IO::Name const given(U(text));
            IO::Name name("kept");
            Names changed = names;
            std::string expected = "kept";
            unsigned int const index = random() % 16 == 0 ? 0xFFFFFFFFu : random() % 4;
            bool const isThere = index < names.size(), hasAny = !names.empty();
            bool isDone = true;
            Operation operation, withNull;
            switch (random() % 9) {
            case 0:
                operation = [&](Place & p) { return Side::Set(p, index, given); };
                withNull = [&](Place & p) { return Side::Set(p, index, null); };
                if ((isDone = isThere))
                    changed[index] = text;
                break;
            case 1:
                operation = [&](Place & p) { return Side::SetLast(p, given); };
                withNull = [&](Place & p) { return Side::SetLast(p, null); };
                if ((isDone = hasAny))
                    changed.back() = text;
                break;
            case 2:
                operation = [&](Place & p) { return Side::Delete(p, index); };
                if ((isDone = isThere))
                    changed.erase(changed.begin() + index);
                break;
            case 3:
                operation = [&](Place & p) { return Side::DeleteLast(p); };
                if ((isDone = hasAny))
                    changed.pop_back();
                break;
            case 4:
                operation = [&](Place & p) { return Side::MoveLast(p, &name); };
                withNull = [&](Place & p) { return Side::MoveLast(p, nullptr); };
                if ((isDone = hasAny)) {
                    expected = names.back();
                    changed.pop_back();
                }
                break;
            case 5:
                operation = [&](Place & p) { return Side::Get(p, index, &name); };
                withNull = [&](Place & p) { return Side::Get(p, index, nullptr); };
                expected = (isDone = isThere) ? names[index] : expected;
                break;
            case 6:
                operation = [&](Place & p) { return Side::GetLast(p, &name); };
                withNull = [&](Place & p) { return Side::GetLast(p, nullptr); };
                expected = (isDone = hasAny) ? names.back() : expected;
                break;
            default:
                operation = [&](Place & p) { return Side::Append(p, given); };
                withNull = [&](Place & p) { return Side::Append(p, null); };
                changed.push_back(text);
            }
            for (auto const & [bad, status] : unhealthy) {
                Place copy(bad);
                ASSERT_EQ(withNull ? withNull(copy) : IO::Error, IO::Error);
                ASSERT_EQ(operation(copy), status);
            }
            ASSERT_EQ(withNull ? withNull(place) : IO::Error, IO::Error);
            ASSERT_EQ(name, "kept");
            ASSERT_EQ(operation(place), isDone ? IO::NoError : IO::Error);
            ASSERT_EQ(ToUtf8(name.ToString()), expected);
            names = changed;
            ASSERT_NO_FATAL_FAILURE(check(place, names));
        }
    }
}

} // namespace Tests
