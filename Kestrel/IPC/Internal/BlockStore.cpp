#include <Kestrel/IPC/Internal/BlockStore.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <cstring>

namespace IO::IPC {

BlockStore & BlockStore::Instance() {
    static BlockStore store;
    return store;
}

BlockStore::~BlockStore() {
    while (char * const block = TakeUnused())
        Mu::DeleteOperator(block);
}

char * BlockStore::Take() {
    char * const block = TakeUnused();
    return block != nullptr ? block : static_cast<char *>(Mu::NewOrThrow(BlockSize));
}

char * BlockStore::TakeUnused() {
    char * const block = unused;
    if (block != nullptr) {
        std::memcpy(&unused, block, sizeof(unused));
        --count;
    }
    return block;
}

void BlockStore::Give(char * block) {
    if (count == MostUnused) {
        Mu::DeleteOperator(block);
        return;
    }
    std::memcpy(block, &unused, sizeof(unused));
    unused = block;
    ++count;
}

} // namespace IO::IPC
