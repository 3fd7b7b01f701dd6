#include <Kestrel/Channel/Code/Blowfish.h>

#include <Kestrel/Channel/Code/Internal/BlowfishTables.h>

#include <algorithm>
#include <atomic>
#include <iterator>

namespace IO {

namespace {

unsigned int Load(unsigned char const * bytes) {
    return bytes[0] | static_cast<unsigned int>(bytes[1]) << 8 |
           static_cast<unsigned int>(bytes[2]) << 16 | static_cast<unsigned int>(bytes[3]) << 24;
}

void Store(unsigned int word, unsigned char * bytes) {
    bytes[0] = static_cast<unsigned char>(word);
    bytes[1] = static_cast<unsigned char>(word >> 8);
    bytes[2] = static_cast<unsigned char>(word >> 16);
    bytes[3] = static_cast<unsigned char>(word >> 24);
}

bool IsWhole(unsigned int size) {
    return size >= 8 && size % 8 == 0;
}

template <typename Cipher>
void ForEachBlock(void * data, unsigned int size, Cipher cipher) {
    if (!IsWhole(size))
        return;
    unsigned char * block = static_cast<unsigned char *>(data);
    for (unsigned char * const end = block + size; block != end; block += 8) {
        unsigned int left = Load(block);
        unsigned int right = Load(block + 4);
        cipher(left, right);
        Store(left, block);
        Store(right, block + 4);
    }
}

} // namespace

void Blowfish::Reset() {
    std::copy_n(blowfishTables, std::size(P), P);
    std::copy_n(blowfishTables + std::size(P), 4 * 256, &S[0][0]);
    // Also for an object being destroyed: the compiler must not remove these stores as dead.
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

void Blowfish::SetPassword(void const * key, unsigned int length) {
    if (key == nullptr || length == 0)
        return;
    Reset();
    GenerateSubKeys(key, length);
}

void Blowfish::GenerateSubKeys(void const * key, unsigned int length) {
    if (key == nullptr || length == 0)
        return;
    unsigned char const * const bytes = static_cast<unsigned char const *>(key);
    unsigned int next = 0;
    auto const takeByte = [&] {
        unsigned int const byte = bytes[next];
        next = next + 1 == length ? 0 : next + 1;
        return byte;
    };
    for (unsigned int & word : P)
        for (unsigned int shift = 0; shift < 32; shift += 8)
            word ^= takeByte() << shift;

    unsigned int left = 0;
    unsigned int right = 0;
    auto const replace = [&](unsigned int * words, unsigned int count) {
        for (unsigned int i = 0; i < count; i += 2) {
            Encipher(left, right);
            words[i] = left;
            words[i + 1] = right;
        }
    };
    replace(P, rounds + 2);
    for (auto & box : S)
        replace(box, 256);
}

inline unsigned int Blowfish::F(unsigned int x) const {
    return ((S[0][x & 255] + S[1][(x >> 8) & 255]) ^ S[2][(x >> 16) & 255]) + S[3][x >> 24];
}

// Two rounds per step, so that the halves need not be swapped.
inline void Blowfish::Encipher(unsigned int & left, unsigned int & right) const {
    unsigned int l = left;
    unsigned int r = right;
    for (unsigned int i = 0; i < rounds; i += 2) {
        l ^= P[i];
        r ^= F(l) ^ P[i + 1];
        l ^= F(r);
    }
    left = r ^ P[rounds + 1];
    right = l ^ P[rounds];
}

inline void Blowfish::Decipher(unsigned int & left, unsigned int & right) const {
    unsigned int l = left;
    unsigned int r = right;
    for (unsigned int i = rounds + 1; i > 1; i -= 2) {
        l ^= P[i];
        r ^= F(l) ^ P[i - 1];
        l ^= F(r);
    }
    left = r ^ P[0];
    right = l ^ P[1];
}

void Blowfish::BF_En(Word * left, Word * right) const {
    Encipher(left->word, right->word);
}

void Blowfish::BF_De(Word * left, Word * right) const {
    Decipher(left->word, right->word);
}

void Blowfish::Encrypt(void * data, unsigned int size) const {
    ForEachBlock(data, size,
                 [this](unsigned int & left, unsigned int & right) { Encipher(left, right); });
}

void Blowfish::Decrypt(void * data, unsigned int size) const {
    ForEachBlock(data, size,
                 [this](unsigned int & left, unsigned int & right) { Decipher(left, right); });
}

} // namespace IO
