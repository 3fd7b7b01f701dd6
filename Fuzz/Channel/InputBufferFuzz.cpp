// Outside bytes as operations on an InputBuffer over a known source that delivers what it likes to,
// beside the same operations on a plain list of bytes.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Channel/InputBuffer.h>

#include <algorithm>
#include <cstring>

using Fuzz::FuzzInput;
using Fuzz::Require;

namespace {

// Bytes that count, in pieces whose sizes the input chooses, to an end that it chooses.
class Source : public IO::InputBuffer::BinInput {
public:
    explicit Source(FuzzInput & input) : input(input), size(input.TakeNumber()) {}

    MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read) override {
        unsigned int const left = size - position;
        // A source that gives less tells why: here always the end.
        *read = std::min(count, left);
        for (unsigned int i = 0; i < *read; ++i)
            destination[i] = static_cast<char>(position++);
        bool const early = position == size && input.TakeByte() & 1; // the end together with bytes
        return *read < count || early ? IO::EOI : IO::NoError;
    }
    unsigned int GetSize() const { return size; }

private:
    FuzzInput & input;
    unsigned int size;
    unsigned int position = 0;
};

class Model {
public:
    explicit Model(unsigned int size) {
        for (unsigned int i = 0; i < size; ++i)
            bytes += static_cast<char>(i);
        std::reverse(bytes.begin(), bytes.end()); // the next byte is the last
    }
    bool IsNext(char const * data, unsigned int count) const {
        return count <= bytes.size() && std::equal(data, data + count, bytes.rbegin());
    }
    void Take(unsigned int count) { bytes.resize(bytes.size() - count); }
    void PushBack(std::string const & text) { bytes.append(text.rbegin(), text.rend()); }
    unsigned int GetLeft() const { return static_cast<unsigned int>(bytes.size()); }

private:
    std::string bytes;
};

class Run {
public:
    Run(FuzzInput & input)
        : input(input), source(input), model(source.GetSize()),
          buffer(&source, 1 + input.TakeNumber() % 300, input.TakeNumber() % 5000,
                 input.TakeByte() / 255.0) {}

    void Operate() {
        switch (input.TakeChoice(10)) {
        case 0: return Get();
        case 1: return GetOne();
        case 2: return Copy();
        case 3: return Look();
        case 4: return PushBack();
        case 5: return Skip();
        case 6: return DirectAccess();
        case 7: return buffer.DisableBuffering();
        case 8: return buffer.EnableBuffering();
        default: Require(buffer.IsEOI() == (model.GetLeft() == 0)); buffer.ResetEOI();
        }
    }

private:
    // Fewer than asked for are all there are.
    void CheckCount(MuErrCode status, unsigned int asked, unsigned int got) {
        Require(got <= asked);
        Require(status == IO::NoError ? got == asked : status == IO::EOI);
        Require(got == asked || got == model.GetLeft());
        buffer.ResetEOI();
    }
    void Get() {
        unsigned int const count = input.TakeNumber() % 1000;
        unsigned int read = 0;
        MuErrCode const status = buffer.Get(place, count, &read);
        Require(model.IsNext(place, read));
        CheckCount(status, count, read);
        model.Take(read);
    }
    void GetOne() {
        MuErrCode const status = buffer.Get(place);
        unsigned int const read = model.GetLeft() != 0 ? 1 : 0;
        Require(read != 0 || status == IO::EOI);
        Require(model.IsNext(place, read));
        buffer.ResetEOI();
        model.Take(read);
    }
    // What asks for more than the ring may hold is refused, which sticks.
    bool IsRefused(MuErrCode status) {
        if (status != IO::Error)
            return false;
        buffer.ResetInputStatus();
        return true;
    }
    void Copy() {
        unsigned int const count = input.TakeNumber() % 1000;
        unsigned int copied = 0;
        MuErrCode const status = buffer.Copy(place, count, &copied);
        if (IsRefused(status))
            return;
        Require(model.IsNext(place, copied));
        CheckCount(status, count, copied);
    }
    void Look() {
        unsigned int const offset = input.TakeChoice(100);
        char c = 0;
        MuErrCode const status = buffer.Look(offset, &c);
        if (IsRefused(status))
            return;
        buffer.ResetEOI();
        unsigned int copied = 0;
        if (IsRefused(buffer.Copy(place, offset + 1, &copied)))
            return;
        buffer.ResetEOI();
        Require(copied == offset + 1 ? c == place[offset] : status == IO::EOI);
    }
    void PushBack() {
        std::string const text = input.TakeBytes(input.TakeByte());
        MuErrCode const status =
            buffer.PushBack(text.data(), static_cast<unsigned int>(text.size()));
        if (!IsRefused(status))
            model.PushBack(text);
    }
    void Skip() {
        unsigned int const count = input.TakeNumber() % 1000;
        unsigned long long skipped = 0;
        MuErrCode const status = buffer.Skip(count, &skipped);
        CheckCount(status, count, static_cast<unsigned int>(skipped));
        model.Take(static_cast<unsigned int>(skipped));
    }
    void DirectAccess() {
        unsigned int const count = input.TakeNumber() % 1000;
        char * data = nullptr;
        unsigned int available = 0;
        MuErrCode const status = buffer.DirectAccess(count, &data, &available);
        if (IsRefused(status))
            return;
        Require(model.IsNext(data, available));
        if (count != 0)
            CheckCount(status, count, std::min(count, available));
        buffer.ResetEOI();
    }

    FuzzInput & input;
    Source source;
    Model model;
    IO::InputBuffer buffer;
    char place[1100] = {};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    FuzzInput input(data, size);
    Run run(input);
    while (!input.IsEmpty())
        run.Operate();
    return 0;
}
