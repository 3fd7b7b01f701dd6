// Outside bytes as what an inspector asks: whatever is whole is answered, and nothing but an end of the
// connection follows what is not.

#include "Fuzz/Support/FuzzInput.h"
#include "Tests/Support/Reflection/Dialogues.h"

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/Start.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Reflection/ReflectionManager.h>
#include <Kestrel/Reflection/ReflectionStreams.h>

namespace {

using IO::Name;

// The only object there is, so that the same requests have the same answers.
struct Shown : IO::Reflectable {
    CustomEntryGroup * group = CreateCustomEntryGroup();
    Shown() {
        IO::EndReflection();
        Connect(CreateRootEntry(), group);
        Connect(group, group);
        AddAttribute(group, "s", Attribute::String);
        AddAttribute(group, "r", Attribute::Real);
        IO::ReflectionManager::Register(IO::RelativeLocation("f/o"), this, false);
    }
    bool GetEntries(CustomEntryGroup const *, Mu::Array<Entry const *> const &,
                    Mu::Array<Name> const & names, Mu::Array<Name> * folders,
                    Mu::Array<Name> * files) const override {
        folders->Push(ToName(names.GetSize()));
        files->Push("t");
        return true;
    }
    bool GetEntryAttributeValues(CustomEntryGroup const *, Name const & name,
                                 Mu::Array<Entry const *> const &, Mu::Array<Name> const &,
                                 Mu::Array<AttributeValue> * values) const override {
        values->Push(name.ToString());
        values->Push(ToDouble(name));
        values->Push(ToSLong(name));
        values->Push(ToPointer(name));
        return true;
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
