// What the containers, texts and values of the root write, on its way to who reads it.

#include "Tests/Support/Root/Persisted.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Containers/HashSet.h>
#include <Kestrel/Root/Containers/HashTable.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Root/Values/Guid.h>

// What ends inside is broken, and no clean end.
template <typename T>
static void Expect(T const & object) {
    Tests::ExpectSafeReading(object);
    std::string const bytes = Tests::ToBytes(object);
    for (std::size_t size = 1; size < bytes.size(); ++size) {
        T read;
        EXPECT_EQ(Tests::FromBytes(bytes.substr(0, size), read), Mu::Error) << size;
    }
}

TEST(RootSweep, ObjectsAreReadWholeOrRefused) {
    Mu::Array<unsigned int> numbers;
    Mu::HashSet<Mu::UniString> names;
    Mu::HashTable<Mu::String, unsigned int> ages;
    for (unsigned int i = 0; i < 40; ++i) {
        numbers.Push(i);
        names.Insert(Mu::UniString::Printf("name %d", i));
        ages.Set(Mu::String(std::to_string(i).c_str()), i);
    }
    Expect(numbers);
    Expect(names);
    Expect(ages);
    for (std::string const & bytes :
         {Tests::ToBytes(numbers), Tests::ToBytes(names), Tests::ToBytes(ages)})
        EXPECT_EQ(bytes.substr(8, 2), std::string("\1\0", 2)) << "the version of the form";
    Expect(U(std::string(300, 't'))); // does not fit into the place for short ones
    Expect(Mu::String("a\xC3\xA4"));
    Expect(Mu::ClassVersion(3, 4));
    Expect(Mu::Guid{7, 0, 0, {}});
}
