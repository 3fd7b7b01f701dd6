// Outside bytes as operations on an OutputBuffer, beside the same operations on one text that never
// leaves.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Channel/OutputBuffer.h>

#include <vector>

using Fuzz::FuzzInput;
using Fuzz::Require;

namespace {

class Sink : public IO::OutputBuffer::BinOutput {
public:
    MuErrCode InternalWrite(char const * source, unsigned int count,
                            unsigned int * written) override {
        bytes.append(source, count);
        *written = count;
        return IO::NoError;
    }
    std::string bytes;
};

class Run {
public:
    explicit Run(FuzzInput & input) : input(input), buffer(&sink, 1 + input.TakeByte()) {}

    void Operate() {
        switch (input.TakeChoice(9)) {
        case 0:
        case 1: return Put(std::string(input.TakeChoice(40), static_cast<char>(input.TakeByte())));
        case 2: return Put(std::string(input.TakeNumber() % 2000, 'x'));
        case 3: return PushMark();
        case 4: return PopMark();
        case 5: return ResetOffset();
        case 6: return DirectAccess();
        case 7: return Flush();
        default: return SwitchBuffering();
        }
    }

    // Everything written, in the sink and in the buffer, is the text.
    void Finish() {
        while (buffer.PopMark() == IO::NoError)
            buffer.ResetOffset();
        buffer.ResetOffset();
        Require(buffer.Flush() == IO::NoError && sink.bytes == text);
    }

private:
    void Put(std::string const & piece) {
        unsigned int const size = static_cast<unsigned int>(piece.size());
        bool const passes = rewound && size > text.size() - position;
        MuErrCode const status = size == 1 ? buffer.Put(piece[0]) : buffer.Put(piece.data(), size);
        if (passes) { // what such a writing leaves behind is nobody's promise
            broken = true;
            return;
        }
        Require(status == IO::NoError);
        if (position == text.size())
            text += piece;
        else
            text.replace(position, size, piece);
        position += size;
    }
    void PushMark() {
        MuErrCode const status = buffer.PushMark();
        Require((status == IO::NoError) == buffered);
        if (buffered)
            marks.push_back(position);
    }
    void PopMark() {
        bool const possible = buffered && !marks.empty();
        Require((buffer.PopMark() == IO::NoError) == possible);
        if (!possible)
            return;
        position = marks.back();
        marks.pop_back();
        rewound = true;
        Require(buffer.GetOffset() == text.size() - position);
    }
    void ResetOffset() {
        buffer.ResetOffset();
        if (rewound)
            position = text.size();
        rewound = false;
        Require(buffer.GetOffset() == 0);
    }
    void DirectAccess() {
        unsigned int const offset = input.TakeNumber() % 3000;
        char * data = nullptr;
        unsigned int available = 0;
        bool const possible = rewound && offset <= text.size() - position;
        Require((buffer.DirectAccess(offset, &data, &available) == IO::NoError) == possible);
        if (possible)
            Require(text.compare(position + offset, available, data, available) == 0);
    }
    void Flush() {
        bool const possible = marks.empty() && !rewound;
        Require((buffer.Flush() == IO::NoError) == possible);
        Require(!possible || sink.bytes == text);
    }
    void SwitchBuffering() {
        if (input.TakeByte() & 1) {
            buffer.EnableBuffering();
            buffered = true;
        } else {
            buffer.DisableBuffering();
            buffered = buffer.IsBufferingEnabled();
        }
    }

public:
    bool broken = false;

private:
    FuzzInput & input;
    Sink sink;
    IO::OutputBuffer buffer;
    std::string text;
    std::vector<std::size_t> marks;
    std::size_t position = 0;
    bool rewound = false;
    bool buffered = true;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    FuzzInput input(data, size);
    Run run(input);
    while (!input.IsEmpty() && !run.broken)
        run.Operate();
    if (!run.broken)
        run.Finish();
    return 0;
}
