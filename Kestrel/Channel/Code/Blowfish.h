#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO {

/// A block cipher of 8-byte blocks: a variant of Blowfish.
///
/// Rounds, tables and the steps of the key schedule are the published ones. Three things differ,
/// and therefore every ciphertext: the halves of a block are read low byte first, the round
/// function takes its boxes from the low byte up, and the words of the key are composed low byte
/// first. So implementations of the published Blowfish cannot decipher this.
///
/// Each block is enciphered independently: equal blocks give equal ciphertext, and exchanged blocks
/// are not detected. It provides obfuscation, not integrity or security.
///
/// Memory:  4168 bytes, in the object.
/// Threads: one at a time; Encrypt and Decrypt of one object, any number at once.
/// Failure: none. Invalid calls have no effect, as described below.
class KESTREL_API Blowfish : public Mu::Allocated {
public:
    /// A half of a block, as a number and as its bytes in the machine's memory.
    union Word {
        unsigned int word;
        unsigned char bytes[4];
    };

    /// Without a key: the published tables.
    Blowfish() { Reset(); }
    /// Erases the key from memory.
    ~Blowfish() { Reset(); }
    Blowfish(Blowfish const &) = default;
    Blowfish & operator=(Blowfish const &) = default;

    /// Removes the key.
    void Reset();
    /// Sets a key of any length; a key and its repetition are equivalent. A null or empty key
    /// changes nothing, so that an earlier key remains.
    void SetPassword(void const * key, unsigned int length);
    /// The same on top of the current tables, to combine keys.
    void GenerateSubKeys(void const * key, unsigned int length);

    /// In place, block by block. A size that is not a multiple of 8 changes nothing.
    void Encrypt(void * data, unsigned int size) const;
    void Decrypt(void * data, unsigned int size) const;

    // One block, in place.
    void BF_En(Word * left, Word * right) const;
    void BF_De(Word * left, Word * right) const;

private:
    static constexpr unsigned int rounds = 16;

    unsigned int F(unsigned int x) const;
    void Encipher(unsigned int & left, unsigned int & right) const;
    void Decipher(unsigned int & left, unsigned int & right) const;

    unsigned int P[rounds + 2];
    unsigned int S[4][256];
};

} // namespace IO
