#include <Kestrel/Root/Containers/ContainerStreams.h>

#include <Kestrel/Root/Containers/Array.h>

namespace Mu {

ClassInfo const ArrayPrivate::classInfo("Mu::Array", ClassVersion(1, 0));
ClassInfo const HashTablePrivate::classInfo("Mu::HashTable", ClassVersion(1, 0));
ClassInfo const HashSetPrivate::classInfo("Mu::HashSet", ClassVersion(1, 0));

unsigned int GrowCapacity(unsigned int capacity, unsigned long long needed,
                          std::size_t elementSize) {
    constexpr unsigned long long most = 0x7FFFFFFF; // the maximum of the array's field
    unsigned long long const addressable =
        std::min<unsigned long long>(most, static_cast<std::size_t>(PTRDIFF_MAX) / elementSize);
    if (needed > addressable)
        ThrowOutOfMemory();
    unsigned long long const doubled = std::max(capacity * 2ull, 4ull);
    return static_cast<unsigned int>(std::min(std::max(doubled, needed), addressable));
}

} // namespace Mu
