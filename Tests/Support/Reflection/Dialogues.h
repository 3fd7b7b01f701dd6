#pragma once

#include <Kestrel/Reflection/Internal/ReflectionConnection.h>
#include <Kestrel/Reflection/Internal/ReflectionDialogue.h>
#include <Kestrel/Reflection/ReflectionClient.h>
#include <Kestrel/Root/Errors/Exceptions.h>

#include <algorithm>
#include <exception>
#include <string>

namespace Tests {

/// Bytes to be read, in pieces of at most `most`; behind them the end.
struct TextInput : Mu::IBinaryChannel {
    std::string bytes;
    std::size_t at = 0;
    unsigned int most = ~0u;
    using IBinaryChannel::Read;
    unsigned int Read(char * destination, unsigned int count) override {
        auto const part = static_cast<unsigned int>(
            std::min<std::size_t>(std::min(count, most), bytes.size() - at));
        std::copy_n(bytes.data() + at, part, destination);
        at += part;
        return part;
    }
    unsigned int GetAvailable() override { return static_cast<unsigned int>(bytes.size() - at); }
    void Close() override {}
};

struct TextOutput : Mu::OBinaryChannel {
    std::string bytes;
    void Write(char const * source, unsigned int count) override { bytes.append(source, count); }
    void Flush() override {}
    void Close() override {}
};

/// What a server answers to such requests, as long as it goes on.
inline std::string Serve(std::string const & requests, unsigned int limit = 1 << 20,
                         unsigned int answerLimit = 1 << 20) {
    TextInput input;
    input.bytes = requests;
    TextOutput output;
    Mu::UniString const ident("test");
    IO::ReflectionDialogue dialogue(input, output, ident, limit, answerLimit);
    try {
        while (dialogue.ServeRequest()) {
        }
    } catch (std::exception const &) {
    } catch (Mu::UniString const &) {
    }
    return output.bytes;
}

/// Connects a client with what `answer` makes of each request.
template <typename Answer>
void ConnectTo(IO::ReflectionClient & client, Answer const & answer) {
    struct Scripted : IO::ReflectionClientStart::Connection, TextOutput {
        Answer answer;
        TextInput input;
        explicit Scripted(Answer const & answer) : answer(answer) {}
        Mu::IBinaryChannel & GetInput() override { return input; }
        Mu::OBinaryChannel & GetOutput() override { return *this; }
        void Flush() override { input.bytes += answer(std::exchange(bytes, {})); }
        void Close() override {}
    };
    IO::ReflectionClientStart::Connect(client, new Scripted(answer));
}

} // namespace Tests
