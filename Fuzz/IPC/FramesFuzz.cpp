// Any bytes as what a peer sends, received in any pieces and read in any way: the same payload,
// separators and locations as a plain reading of the whole gives.

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/IPC/EndPoint.h>
#include <Kestrel/Socket/Platform/ForwardingSocketCalls.h>

#include <vector>

namespace {

using namespace IO::Socket;

/// A socket from which comes what the run puts there.
struct Wire final : ForwardingSocketCalls {
    Wire() : ForwardingSocketCalls(GetPlatformSocketCalls()) { SetSocketCalls(this); }
    ~Wire() override { SetSocketCalls(nullptr); }
    unsigned int Recv(SocketHandle, char * to, unsigned int count, unsigned int * got) override {
        *got = static_cast<unsigned int>(coming.copy(to, count));
        coming.erase(0, *got);
        return *got != 0 ? WSAError::None : WSAError::WouldBlock;
    }
    unsigned int CloseSocket(SocketHandle) override { return WSAError::None; }
    std::string coming;
};

struct End final : IO::IPC::EndPoint {
    End() { socket = 5; }
    void ProcessError() override {}
    void LocationArrived(IO::Location const & location) override {
        locations.push_back(location);
        char c = 0;
        for (MuErrCode const status :
             {GetIChannel().ReadBin(&c, 1, nullptr), GetIChannel().Skip(1, nullptr),
              GetIChannel().PushBack(&c, 1)})
            Fuzz::Require(status == IO::Error);
    }
    std::vector<IO::Location> locations;
};

/// What all of the bytes say, read at once.
struct Whole {
    explicit Whole(std::string const & bytes) {
        std::string text; // of a location, with its length in front
        bool isInLocation = false;
        for (std::size_t at = 0; at < bytes.size() && !isBad;) {
            char const tag = bytes[at++];
            if (tag == 'S') {
                separators.push_back(payload.size());
            } else if (tag == 'L') {
                isInLocation = true;
                text.clear();
            } else if (tag == 'D') {
                if (bytes.size() - at < 4 || bytes.size() - at - 4 < GetLength(bytes, at))
                    return;
                std::size_t const end = at + 4 + GetLength(bytes, at);
                for (at += 4; at < end; ++at) {
                    (isInLocation ? text : payload) += bytes[at];
                    if (isInLocation && text.size() >= 4 && text.size() - 4 == GetLength(text, 0)) {
                        isInLocation = false;
                        IO::Location const location(text.c_str() + 4);
                        if (location.GetStatus() == IO::NoError)
                            locations.push_back({payload.size(), location});
                    }
                }
            } else {
                isBad = true;
            }
        }
    }
    static unsigned int GetLength(std::string const & bytes, std::size_t at) {
        unsigned int length = 0;
        for (unsigned int i = 0; i < 4; ++i)
            length |= static_cast<unsigned int>(static_cast<unsigned char>(bytes[at + i])) << 8 * i;
        return length;
    }

    std::string payload;
    std::vector<std::size_t> separators;
    std::vector<std::pair<std::size_t, IO::Location>> locations;
    bool isBad = false;
};

/// Reads all that is there, by operations that are drawn.
class Reading {
public:
    Reading(End & end, Whole const & whole) : end(end), whole(whole) {}

    void Step(unsigned int operation, unsigned int size) {
        IO::IPC::SocketIChannel & channel = end.GetIChannel();
        std::size_t const left = whole.payload.size() - at;
        unsigned int const count = static_cast<unsigned int>(std::min<std::size_t>(size, left));
        std::string const expected = whole.payload.substr(at, count);
        std::string got(count, 0);
        unsigned int done = 0;
        Fuzz::Require(channel.GetReadable() == left);
        CheckPlace();
        switch (operation) {
        case 0: Fuzz::Require(channel.CopyBin(got.data(), count, &done) == IO::NoError); break;
        case 1: {
            unsigned long long skipped = 0;
            Fuzz::Require(channel.Skip(count, &skipped) == IO::NoError && skipped == count);
            at += count;
            return;
        }
        case 2: {
            char c = 0;
            Fuzz::Require(left == 0 || (channel.Look(count / 2, &c) == IO::NoError &&
                                        c == whole.payload[at + count / 2]));
            return;
        }
        case 3: {
            unsigned int const back = std::min<unsigned int>(size, static_cast<unsigned int>(at));
            std::string const again = whole.payload.substr(at - back, back);
            most = std::max(most, at);
            Fuzz::Require(channel.PushBack(again.data(), back) == IO::NoError);
            at -= back;
            return;
        }
        default:
            Fuzz::Require(channel.ReadBin(got.data(), count, &done) == IO::NoError);
            at += count;
        }
        Fuzz::Require(done == count && got == expected);
    }
    void Finish() {
        while (at < whole.payload.size())
            Step(4, 1);
        end.GetIChannel().EatLocations();
        CheckPlace();
        Fuzz::Require(end.locations.size() == whole.locations.size());
        for (std::size_t i = 0; i < end.locations.size(); ++i)
            Fuzz::Require(end.locations[i] == whole.locations[i].second);
    }

private:
    // Which separators are ahead, and that no location comes before its place nor behind it.
    void CheckPlace() {
        std::size_t const taken = std::max(most, at);
        std::size_t passed = 0;
        while (passed < whole.separators.size() && whole.separators[passed] < taken)
            ++passed;
        unsigned int const ahead = static_cast<unsigned int>(whole.separators.size() - passed);
        Fuzz::Require(end.GetISeparatorCount() == ahead);
        Fuzz::Require(end.GetIChannel().GetNearestSeparator() ==
                      (ahead == 0 ? -1 : static_cast<long long>(whole.separators[passed] - taken)));
        end.GetIChannel().EatLocations();
        std::size_t due = 0;
        while (due < whole.locations.size() && whole.locations[due].first <= taken)
            ++due;
        Fuzz::Require(end.locations.size() <= due);
        Fuzz::Require(at < taken || end.locations.size() == due);
    }

    End & end;
    Whole const & whole;
    std::size_t at = 0;
    std::size_t most = 0; // how far it came before something was pushed back
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::FuzzInput input(data, size);
    std::string const choices = input.TakeBytes(input.TakeChoice(64));
    Fuzz::FuzzInput choice(reinterpret_cast<std::uint8_t const *>(choices.data()), choices.size());
    std::string rest(input.GetRest(), input.GetRestSize());
    Whole const whole(rest);
    Wire wire;
    End end;
    unsigned int const pieces = choice.TakeChoice(8);
    for (unsigned int i = 0; i < pieces; ++i) {
        std::size_t const piece = std::min<std::size_t>(choice.TakeNumber() % 600, rest.size());
        wire.coming = rest.substr(0, piece);
        rest.erase(0, piece);
        end.ProcessRead();
    }
    wire.coming = rest;
    end.ProcessRead();
    Fuzz::Require(end.GetIChannel().GetInputStatus() == (whole.isBad ? IO::EOI : IO::NoError));
    end.GetIChannel().ResetInputStatus();
    Reading reading(end, whole);
    while (!choice.IsEmpty()) {
        unsigned int const operation = choice.TakeChoice(5);
        reading.Step(operation, choice.TakeByte());
    }
    reading.Finish();
    return 0;
}
