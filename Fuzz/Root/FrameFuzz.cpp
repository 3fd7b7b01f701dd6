// Outside bytes as persisted objects: a table of lists of texts, each in a frame of its own, and a
// frame that is passed over.

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Containers/HashTable.h>
#include <Kestrel/Root/Text/UniString.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

using Table = Mu::HashTable<Mu::UniString, Mu::Array<Mu::UniString>>;

// What was read can be written, and then reads back as the same.
void WriteAndReadBack(Table const & table) {
    IO::MemoryOChannel output;
    if (table.Write(output) != IO::NoError)
        std::abort();
    char const * const bytes = output.GetDestination();
    IO::MemoryIChannel input(bytes, output.GetDataSize());
    Table again;
    if (again.Read(input) != IO::NoError || again.GetSize() != table.GetSize())
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    IO::MemoryIChannel channel(reinterpret_cast<char const *>(data),
                               static_cast<unsigned int>(size));
    Table table;
    if (table.Read(channel) == IO::NoError)
        WriteAndReadBack(table);
    channel.ResetSource();
    Mu::InputFrame frame(channel, Mu::HashTablePrivate::classInfo);
    return 0;
}
