// Outside bytes as what an inspector asks: whatever is whole is answered, and nothing but an end of the
// connection follows what is not.

#include "Fuzz/Support/FuzzInput.h"
#include "Tests/Support/Reflection/Dialogues.h"
#include "Tests/Support/Reflection/Level.h"

#include <Kestrel/Reflection/Internal/Start.h>
#include <Kestrel/Reflection/ReflectionStreams.h>

namespace {

// The only object there is, so that the same requests have the same answers.
struct Shown : Tests::Level {
    Shown()
        : Level(
              nullptr, {{"s", Attribute::String}, {"r", Attribute::Real}},
              [](Names const & above, Names & folders, Names & files) {
                  folders.Push(ToName(above.GetSize()));
                  files.Push("t");
              },
              [](Name const & name, Values & values) {
                  for (Value const & value : {Value(name.ToString()), Value(ToDouble(name)),
                                              Value(ToSLong(name)), Value(ToPointer(name))})
                      values.Push(value);
              }) {
        IO::EndReflection();
        Connect(group, group);
        IO::ReflectionManager::Register(IO::RelativeLocation("f/o"), this, false);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static Shown const & shown = *new Shown;
    static_cast<void>(shown);
    constexpr unsigned int Limit = 2048;
    std::string const requests(reinterpret_cast<char const *>(data), size);
    std::string const answers = Tests::Serve(requests, Limit);
    // What comes behind them changes no answer.
    Tests::TextOutput more;
    IO::Write(more, Mu::UniString("GetOS"));
    Fuzz::Require(Tests::Serve(requests + more.bytes, Limit).starts_with(answers));
    Fuzz::Require(answers.size() <= 200 * size);
    return 0;
}
