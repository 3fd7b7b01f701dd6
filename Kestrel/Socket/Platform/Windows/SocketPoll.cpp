// Polling by select: WSAPoll never reports a failed connection on systems before 2020.

#include <Kestrel/Socket/Platform/Windows/Winsock.h>

#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Time/Clock.h>
#include <Kestrel/Socket/Platform/Windows/WindowsSocketCalls.h>

#include <algorithm>

namespace IO::Socket {
namespace {

// A set for select, of any size: the system uses its count only.
struct Set {
    u_int count;
    SOCKET sockets[1];
};
static_assert(offsetof(Set, sockets) == offsetof(fd_set, fd_array));

constexpr unsigned int SetSize(unsigned int count) {
    return (sizeof(Set) + count * sizeof(SOCKET) + alignof(Set) - 1) / alignof(Set) * alignof(Set);
}

// Three sets in one block, on the stack while they are small.
class Sets {
public:
    Sets(PollEntry const * entries, unsigned int count) {
        unsigned int const size = SetSize(count);
        char * block = few;
        if (count > FewEntries)
            block = many = static_cast<char *>(Mu::NewOperator(3ull * size));
        if (block == nullptr)
            return;
        for (unsigned int i = 0; i < 3; ++i) {
            sets[i] = reinterpret_cast<Set *>(block + i * std::size_t(size));
            sets[i]->count = 0;
        }
        for (unsigned int i = 0; i < count; ++i)
            for (unsigned int k = 0; k < 3; ++k)
                if (entries[i].wanted & Bit(k))
                    sets[k]->sockets[sets[k]->count++] = entries[i].socket;
    }
    ~Sets() { Mu::DeleteOperator(many); }
    Sets(Sets const &) = delete;
    Sets & operator=(Sets const &) = delete;

    bool Stand() const { return sets[0] != nullptr; }
    fd_set * Get(unsigned int k) {
        return sets[k]->count != 0 ? reinterpret_cast<fd_set *>(sets[k]) : nullptr;
    }
    // Ready sockets usually are in the order in which they were passed; otherwise they are searched
    // for.
    unsigned int Mark(unsigned int k, PollEntry * entries, unsigned int count) const {
        Set const & set = *sets[k];
        unsigned int found = 0;
        unsigned int at = 0;
        for (unsigned int i = 0; i < count; ++i) {
            if ((entries[i].wanted & Bit(k)) == 0)
                continue;
            bool const isNext = at < set.count && set.sockets[at] == entries[i].socket;
            if (!isNext && (at == set.count || !Holds(set, entries[i].socket)))
                continue;
            at += isNext;
            entries[i].ready |= Bit(k);
            ++found;
        }
        return found;
    }

private:
    static constexpr unsigned int FewEntries = 64;

    static unsigned char Bit(unsigned int k) { return static_cast<unsigned char>(1u << k); }
    static bool Holds(Set const & set, SOCKET socket) {
        return std::find(set.sockets, set.sockets + set.count, socket) != set.sockets + set.count;
    }

    alignas(Set) char few[3 * SetSize(FewEntries)];
    char * many = nullptr;
    Set * sets[3] = {};
};

static_assert(PollEvent::Read == 1 && PollEvent::Write == 2 && PollEvent::Except == 4);

} // namespace

unsigned int WindowsSocketCalls::Poll(PollEntry * entries, unsigned int count,
                                      long long microseconds, unsigned int * ready) {
    *ready = 0;
    for (unsigned int i = 0; i < count; ++i)
        entries[i].ready = 0;
    Sets sets(entries, count);
    if (!sets.Stand())
        return WSAError::NoBuffers;
    timeval time{};
    if (microseconds > 0) {
        time.tv_sec = static_cast<long>(std::min(microseconds / 1000000, 0x7FFFFFFFll));
        time.tv_usec = static_cast<long>(microseconds % 1000000);
    }
    fd_set * const read = sets.Get(0);
    fd_set * const write = sets.Get(1);
    fd_set * const except = sets.Get(2);
    int const result = ::select(0, read, write, except, microseconds < 0 ? nullptr : &time);
    if (result == SOCKET_ERROR)
        return static_cast<unsigned int>(::WSAGetLastError());
    if (result == 0)
        return WSAError::None; // not every system has cleared the sets then
    if (read != nullptr)
        *ready += sets.Mark(0, entries, count);
    if (write != nullptr)
        *ready += sets.Mark(1, entries, count);
    if (except != nullptr)
        *ready += sets.Mark(2, entries, count);
    return WSAError::None;
}

} // namespace IO::Socket
