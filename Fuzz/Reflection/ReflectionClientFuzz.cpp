// Outside bytes as what a server answers to each question of a client: a status, and nothing half read.

#include "Fuzz/Support/FuzzInput.h"
#include "Tests/Support/Reflection/Dialogues.h"

#include <Kestrel/Location/RelativeLocation.h>

namespace {

using IO::Name;
using IO::Reflectable;

// A failure closes the connection, and leaves nothing half read.
void Check(IO::ReflectionClient const & client, MuErrCode status, bool isEmpty) {
    Fuzz::Require(status == IO::NoError || status == IO::EOI || status == IO::Error);
    Fuzz::Require(client.IsConnected() == (status == IO::NoError));
    Fuzz::Require(status == IO::NoError || isEmpty);
}

void Ask(IO::ReflectionClient & client, unsigned int question) {
    IO::RelativeLocation const place("a/b");
    Mu::Array<Name> const names{Name("n"), Name("/")};
    Mu::UniString text;
    unsigned int number = 0;
    Mu::Array<Name> folders;
    Mu::Array<Name> files;
    Mu::Array<Reflectable::Attribute> attributes;
    Mu::Array<Mu::Array<Reflectable::AttributeValue>> values;
    MuErrCode status = IO::NoError;
    switch (question) {
    case 0: status = client.GetIdent(&text); break;
    case 1: status = client.GetPid(&number); break;
    case 2: status = client.GetChildren(place, &folders, &files); break;
    case 3: status = client.GetAttributes(place, &attributes); break;
    case 4: status = client.GetAttributeValues(place, names, &values); break;
    default: status = client.GetContent(place, &text); break;
    }
    Check(client, status,
          text.IsEmpty() && number == 0 && folders.IsEmpty() && files.IsEmpty() &&
              attributes.IsEmpty() && values.IsEmpty());
    for (auto const & row : values)
        for (Reflectable::AttributeValue const & value : row)
            static_cast<void>(value.ToString());
    Fuzz::Require(status != IO::NoError || question != 4 || values.GetSize() == names.GetSize());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    Fuzz::FuzzInput input(data, size);
    IO::ReflectionClient client;
    client.SetAnswerLimit(1 << 20);
    Tests::ConnectTo(client,
                     [&](std::string const &) { return input.TakeBytes(input.TakeNumber()); });
    while (client.IsConnected() && !input.IsEmpty())
        Ask(client, input.TakeChoice(6));
    return 0;
}
