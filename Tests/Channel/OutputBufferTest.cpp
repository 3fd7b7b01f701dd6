#include <Kestrel/Channel/OutputBuffer.h> // first: the header stands on its own

#include <Kestrel/Channel/PlatformProtocol.h>

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/FaultSweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>

namespace {

using IO::OutputBuffer;
using Tests::RecordingSink;

/// The rules of the chain over texts of one block each.
class ChainModel {
public:
    explicit ChainModel(unsigned int blockSize) : blockSize(blockSize) {}

    void Put(std::string const & bytes) {
        unsigned int const count = static_cast<unsigned int>(bytes.size());
        if (place + count <= stop) { // whatever the status
            if (count != 0)
                blocks[current].replace(place, count, bytes);
            place += count;
        } else if (!isBuffering) {
            Send(bytes);
        } else if (isRewound && count > GetOffset()) {
            status = IO::Error;
        } else if (!isRewound && count > GetFree() && marks.empty()) {
            Flush();
            count > GetFree() ? Send(bytes) : Store(bytes);
        } else {
            Store(bytes);
        }
    }

    MuErrCode Flush() {
        if (status != IO::NoError)
            return status;
        if (IsHeld())
            return IO::Error;
        for (std::size_t i = 0; i < blocks.size() && i <= current; ++i)
            Send(blocks[i].substr(0, i == current ? place : blockSize));
        if (!blocks.empty())
            Restart();
        return status;
    }

    MuErrCode PopMark() {
        if (status != IO::NoError)
            return status;
        if (!isBuffering || marks.empty())
            return IO::Error;
        unsigned int const position = marks.back();
        marks.pop_back();
        if (!isRewound)
            end = place;
        isRewound = true;
        if (blocks.empty())
            return status;
        unsigned int const last = static_cast<unsigned int>(blocks.size()) - 1;
        current = std::min(position / blockSize, last);
        place = position - current * blockSize;
        stop = current == last ? end : blockSize;
        return status;
    }

    void ResetOffset() {
        if (status != IO::NoError || !isBuffering)
            return;
        if (isRewound) {
            place = end;
            current = blocks.empty() ? 0 : static_cast<unsigned int>(blocks.size()) - 1;
            stop = blocks.empty() ? 0 : blockSize;
            isRewound = false;
        }
        if (marks.empty() && current >= 2)
            Flush();
    }

    void ClearContent() {
        marks.clear();
        isRewound = false;
        if (!blocks.empty())
            Restart();
    }
    void Delete() {
        blocks.clear();
        current = place = stop = 0;
        isRewound = false;
    }

    bool IsHeld() const { return isRewound || !marks.empty(); }
    unsigned int GetPosition() const { return current * blockSize + place; }
    unsigned int GetSize() const {
        unsigned int const last = isRewound ? end : place;
        return blocks.empty() ? 0 : static_cast<unsigned int>(blocks.size() - 1) * blockSize + last;
    }
    unsigned int GetOffset() const {
        return isRewound && GetSize() > GetPosition() ? GetSize() - GetPosition() : 0;
    }
    unsigned int GetFree() {
        Begin();
        return blocks.empty() ? 0 : isRewound ? blockSize - end : stop - place;
    }

    unsigned int const blockSize;
    std::vector<std::string> blocks;
    unsigned int current = 0, place = 0, stop = 0, end = 0;
    bool isRewound = false, isBuffering = true;
    unsigned int shortFrom = 0, taken = 0; // the allocation from which on there is no memory
    std::vector<unsigned int> marks;
    RecordingSink * sink = nullptr; // null: takes nothing
    unsigned long long written = 0;
    MuErrCode status = IO::NoError;

private:
    void Send(std::string const & bytes) {
        if (status != IO::NoError || bytes.empty())
            return;
        unsigned int const count = static_cast<unsigned int>(bytes.size());
        unsigned int ignored = 0;
        status = sink != nullptr ? sink->InternalWrite(bytes.data(), count, &ignored) : IO::EOO;
        written += count; // whatever was taken
    }
    void Store(std::string const & bytes) {
        if (status != IO::NoError)
            return;
        Begin();
        for (std::size_t done = 0; done < bytes.size() && status == IO::NoError;) {
            if (place == stop && !Step())
                return;
            std::size_t const part = std::min<std::size_t>(bytes.size() - done, stop - place);
            blocks[current].replace(place, part, bytes.substr(done, part));
            place += static_cast<unsigned int>(part);
            done += part;
        }
    }
    bool Takes() { return shortFrom == 0 || ++taken < shortFrom; }
    bool Append() {
        bool const isFull = blocks.size() == listRoom; // the list of blocks grows, too
        bool const isHad = Takes() && (!isFull || Takes());
        if (isHad) {
            listRoom *= isFull ? 2 : 1;
            blocks.emplace_back(blockSize, '\0');
        } else {
            status = IO::ErrMemoryFull;
        }
        return isHad;
    }
    void Begin() {
        if (blocks.empty() && Append())
            Restart();
    }
    bool Step() {
        if (current + 1 == blocks.size() && !Append())
            return false;
        ++current;
        place = 0;
        stop = blockSize; // also while rewound, past the end of the data
        return true;
    }
    void Restart() {
        blocks.resize(1);
        current = place = 0;
        stop = blockSize;
        isRewound = false;
    }

    std::size_t listRoom = 4;
};

/// A channel, by the names of a chain's operations.
class ChainChannel : public IO::OChannelAdapter {
public:
    ChainChannel(void *, unsigned int) : OChannelAdapter(IO::binOProtocol) { WriteInLine(*this); }
    void SetDefaultOutputProtocol() override {}

    MuErrCode Put(char const * bytes, unsigned int count) {
        unsigned int written = 0;
        MuErrCode const status = WriteBin(bytes, count, &written);
        EXPECT_EQ(written, count) << "also beside a failure";
        return status;
    }
    MuErrCode DirectAccess(unsigned int offset, char ** data, unsigned int * available) {
        return DirectOutputAccess(offset, data, available);
    }
    MuErrCode GetStatus() const { return GetOutputStatus(); }
    unsigned int GetDataSize() const { return GetDataSizeInOutputBuffer(); }
    bool IsBufferingEnabled() const { return IsOutputBufferingEnabled(); }
    void EnableBuffering() { EnableOutputBuffering(); }
    void DisableBuffering() { DisableOutputBuffering(); }
    void Reset() { ResetOutputBuffer(); }
    using OChannelAdapter::ClearBinOutput;
    using OChannelAdapter::GetBinOutput;
    void SetBinOutput(OutputBuffer::BinOutput & sink) { OChannelAdapter::SetBinOutput(sink); }
};

/// A chain or a channel, and its model, over two equal sinks, driven by one seed.
template <typename Chain>
class ChainTrial {
public:
    explicit ChainTrial(unsigned int seed)
        : random(seed), model(isChannel ? 16384 : 1 + Random(40)),
          buffer(nullptr, model.blockSize) {
        SetSink();
    }

    void Step() {
        model.shortFrom = !isChannel && Random(10) == 0 ? 1 + Random(2) : 0;
        model.taken = 0;
        Operation const operation = operations[Random(std::size(operations))];
        {
            Tests::Shortage const shortage(model.shortFrom);
            (this->*operation)();
        }
        ASSERT_EQ(buffer.GetStatus(), model.status);
        ASSERT_EQ(buffer.GetDataSize(), model.GetSize());
        ASSERT_EQ(buffer.GetOffset(), model.GetOffset());
        if constexpr (isChannel) {
            unsigned long long position = 99;
            ASSERT_EQ(buffer.GetOutputPosition(&position), IO::NoError);
            ASSERT_EQ(position, model.written + model.GetSize() - model.GetOffset());
        } else {
            ASSERT_EQ(buffer.GetWritePosition(), model.GetPosition());
            ASSERT_EQ(buffer.GetWrittenBytes(), model.written);
            ASSERT_EQ(buffer.IsEmpty(), model.GetSize() == 0);
            ASSERT_EQ(buffer.IsInMarkMode(), model.IsHeld());
        }
        ASSERT_EQ(buffer.IsBufferingEnabled(), model.isBuffering);
        ASSERT_EQ(sinks[0].calls, sinks[1].calls);
        ASSERT_EQ(sinks[0].pieces, sinks[1].pieces);
        for (RecordingSink & sink : sinks)
            sink.pieces.clear();
        if (Random(3) == 0) {
            buffer.ResetOutputStatus();
            model.status = IO::NoError;
        }
    }

private:
    static constexpr bool isChannel = std::is_same_v<Chain, ChainChannel>;

    unsigned int Random(std::size_t below) { return static_cast<unsigned int>(random() % below); }

    // Where chains have their edges, or anywhere.
    unsigned int Count() {
        unsigned int const edges[] = {model.stop - std::min(model.stop, model.place),
                                      model.blockSize, model.blockSize * 2, model.GetOffset()};
        if (Random(2) == 0)
            return Random(Random(2) == 0 ? 10 : model.blockSize * 3);
        return std::max(1u, edges[Random(std::size(edges))] + Random(3)) - 1;
    }

    void Put() {
        std::string bytes(Count(), ' ');
        char next = static_cast<char>(Random(256));
        for (char & c : bytes)
            c = next++;
        unsigned int const count = static_cast<unsigned int>(bytes.size());
        MuErrCode status;
        if constexpr (isChannel) {
            bool const isTurned = Random(3) == 0;
            buffer.SetOutputProtocol(IO::binOProtocol);
            if (isTurned)
                (void)IO::SetPlatformOProtocol(buffer, Mu::BigEndianMacSign);
            int number = 0;
            std::memcpy(&number, bytes.data(), std::min(count, 4u));
            status = count == 4 ? buffer.Write(number) : buffer.Put(bytes.data(), count);
            if (count == 4 && isTurned)
                std::reverse(bytes.begin(), bytes.end());
        } else {
            status = count == 1 ? buffer.Put(bytes[0]) : buffer.Put(bytes.data(), count);
        }
        model.Put(bytes);
        ASSERT_EQ(status, model.status);
    }
    void Flush() {
        MuErrCode const status = buffer.Flush();
        ASSERT_EQ(status, model.Flush());
    }
    void PushMark() {
        MuErrCode const status = buffer.PushMark();
        if (model.shortFrom == 1 && model.marks.size() >= 8 && status == IO::ErrMemoryFull)
            model.status = IO::ErrMemoryFull; // the stack is the one thing beside blocks that grows
        MuErrCode const failure = model.isBuffering ? IO::NoError : IO::Error;
        ASSERT_EQ(status, model.status != IO::NoError ? model.status : failure);
        if (status == IO::NoError)
            model.marks.push_back(model.GetPosition());
    }
    void PopMark() {
        MuErrCode const status = buffer.PopMark();
        ASSERT_EQ(status, model.PopMark());
    }
    void ResetOffset() {
        buffer.ResetOffset();
        model.ResetOffset();
    }
    void DirectAccess() {
        unsigned int const rest = model.GetOffset(), offset = Random(rest + 2);
        char * data = nullptr;
        unsigned int available = 99;
        MuErrCode const status = buffer.DirectAccess(offset, &data, &available);
        bool const isRefused = !model.isRewound || offset > rest;
        ASSERT_EQ(status, model.status != IO::NoError ? model.status
                          : isRefused                 ? IO::Error
                                                      : IO::NoError);
        std::string expected;
        if (status == IO::NoError && offset < rest) {
            unsigned int const place = model.GetPosition() + offset;
            unsigned int const block = place / model.blockSize, inBlock = place % model.blockSize;
            expected = model.blocks[block].substr(inBlock, rest - offset);
        }
        ASSERT_EQ(std::string_view(data, available), expected);
    }
    void GetFreeSpace() {
        if constexpr (!isChannel) {
            unsigned int const space = buffer.GetFreeSpace();
            ASSERT_EQ(space, model.GetFree());
        }
    }
    void SwitchBuffering() {
        if (model.isBuffering) {
            buffer.DisableBuffering();
            if (model.IsHeld())
                return;
            model.Flush();
            model.Delete();
        } else {
            buffer.EnableBuffering();
        }
        model.isBuffering = !model.isBuffering;
    }
    void Drop() {
        switch (Random(6)) {
        case 0:
            if constexpr (!isChannel) {
                buffer.ClearContent();
                model.ClearContent();
            }
            break;
        case 1:
            buffer.Reset();
            model.Delete();
            model.marks.clear();
            model.status = IO::NoError;
            break;
        }
    }
    void ChangeSink() {
        unsigned int const failFrom = Random(2) == 0 ? 0 : sinks[0].calls + Random(4);
        for (RecordingSink & sink : sinks)
            sink.failFrom = failFrom;
        if (Random(4) != 0) {
            SetSink();
            return;
        }
        buffer.ClearBinOutput();
        model.sink = nullptr;
    }
    void SetSink() {
        buffer.SetBinOutput(sinks[0]);
        EXPECT_EQ(&buffer.GetBinOutput(), &sinks[0]);
        model.sink = &sinks[1];
    }

    using Operation = void (ChainTrial::*)();
    static constexpr Operation operations[] = {
        &ChainTrial::Put,          &ChainTrial::Put,
        &ChainTrial::Put,          &ChainTrial::Put,
        &ChainTrial::Flush,        &ChainTrial::PushMark,
        &ChainTrial::PushMark,     &ChainTrial::PopMark,
        &ChainTrial::PopMark,      &ChainTrial::ResetOffset,
        &ChainTrial::DirectAccess, &ChainTrial::DirectAccess,
        &ChainTrial::GetFreeSpace, &ChainTrial::Drop,
        &ChainTrial::ChangeSink,   &ChainTrial::SwitchBuffering};

    std::mt19937 random;
    RecordingSink sinks[2]; // the buffer's and the model's
    ChainModel model;
    Chain buffer;
};

TEST(OutputBuffer, KeepsTheRulesOfTheChainInEveryOrderOfOperations) {
    long long const blocks = Tests::CountLiveBlocks();
    Tests::RunTrials<ChainTrial<OutputBuffer>>(800);
    EXPECT_EQ(Tests::CountLiveBlocks(), blocks);
    Tests::RunTrials<ChainTrial<ChainChannel>>(100);
}

// Blocks of the default size come from those that earlier buffers gave back, up to ten of them.
TEST(OutputBuffer, KeepsTenBlocksOfTheDefaultSizeForTheNext) {
    auto const hold = [](unsigned int count) {
        std::vector<std::unique_ptr<OutputBuffer>> buffers;
        unsigned long long const before = Tests::CountAllocations();
        while (buffers.size() < count) {
            buffers.push_back(std::make_unique<OutputBuffer>());
            EXPECT_EQ(buffers.back()->Put('a'), IO::NoError);
            EXPECT_EQ(buffers.back()->GetFreeSpace(), 16383u);
        }
        return Tests::CountAllocations() - before;
    };
    hold(12);
    EXPECT_EQ(hold(10), 0u);
    EXPECT_EQ(hold(12), 2u);
}

} // namespace
