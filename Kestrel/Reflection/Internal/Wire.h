#pragma once

#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Root/Streams/BinaryChannel.h>

#include <string_view>

namespace IO {

/// A block of memory to read from, owned by the caller.
class BlockIChannel : public Mu::IBinaryChannel {
public:
    BlockIChannel(char const * block, unsigned int size) : at(block), left(size) {}
    BlockIChannel(BlockIChannel const & other) : at(other.at), left(other.left) {}
    using IBinaryChannel::Read;
    unsigned int Read(char * destination, unsigned int count) override;
    unsigned int GetAvailable() override { return left; }
    void Close() override { left = 0; }
    // False, with nothing read: it is incomplete.
    bool TakeNumber(unsigned int * number);
    /// The bytes of a text in the block.
    bool TakeText(std::string_view * text);

private:
    char const * at;
    unsigned int left;
};

/// An answer being composed in memory, so that it is sent in one piece.
///
/// Memory:  one block, which doubles.
/// Failure: Mu::OutOfMemoryException, also beyond the limit.
class AnswerBlock : public Mu::OBinaryChannel {
public:
    explicit AnswerBlock(unsigned int limit = 0xFFFFFFFFu) : limit(limit) {}
    ~AnswerBlock() override;
    AnswerBlock(AnswerBlock const &) = delete;
    AnswerBlock & operator=(AnswerBlock const &) = delete;

    void Write(char const * source, unsigned int count) override;
    void Flush() override {}
    void Close() override {}
    /// Appends so many bytes for the caller to fill; valid until the next call.
    char * Take(unsigned int count);
    /// Appends the content of another one, preceded by its size.
    void AppendTo(AnswerBlock & other) const;
    void CopyTo(Mu::OBinaryChannel & output) const;
    /// Sends all of it. With a size, the size of what follows is stored in the first 4 bytes.
    void Send(Mu::OBinaryChannel & output, bool withSize);
    /// Empties it for the next answer. The memory is kept, unless it is larger than that.
    void Empty(unsigned int kept);

private:
    void Grow(unsigned int count);

    char * block = nullptr; // owned
    unsigned int size = 0;
    unsigned int capacity = 0;
    unsigned int const limit;
};

/// Bytes whose length was announced by a peer: memory is taken as they arrive.
class ArrivedBlock {
public:
    ArrivedBlock() = default;
    ~ArrivedBlock();
    ArrivedBlock(ArrivedBlock const &) = delete;
    ArrivedBlock & operator=(ArrivedBlock const &) = delete;

    /// Replaces the content. False: out of memory; the bytes that arrived have been read. Throws
    /// what the channel throws.
    bool ReadFrom(Mu::IBinaryChannel & channel, unsigned int count);
    /// Frees the memory, if it is more than that.
    void Trim(unsigned int kept);
    char const * GetBytes() const { return block; }
    unsigned int GetSize() const { return size; }

private:
    char * block = nullptr; // owned
    unsigned int size = 0;
    unsigned int capacity = 0;
};

/// Throws the text "Text is too long" for one that ends beyond the block.
void ReadText(BlockIChannel & channel, Mu::UniString * text);
/// A text of at most so many bytes. Throws the text "Text is too long" for a longer one.
void ReadText(Mu::IBinaryChannel & channel, Mu::UniString * text, unsigned int limit);

// As into any channel, but written in one step.
void Write(AnswerBlock & answer, unsigned int number);
void Write(AnswerBlock & answer, Mu::UniString const & text);
/// The kind of the value in a byte, and what belongs to the kind. Throws as ReadValue does.
void WriteValue(AnswerBlock & answer, Reflectable::AttributeValue const & value);
/// Throws the text "Unknown reflection type" for another kind.
void ReadValue(Mu::IBinaryChannel & channel, Reflectable::AttributeValue * value,
               unsigned int limit);

} // namespace IO
