#include <Kestrel/Reflection/Internal/ReflectionDialogue.h>

#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Reflection/Internal/ReflectableUse.h>
#include <Kestrel/Reflection/Internal/ValuesBelow.h>
#include <Kestrel/Reflection/Internal/Wire.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Reflection/ReflectionManager.h>
#include <Kestrel/Reflection/ReflectionStreams.h>
#include <Kestrel/Root/Containers/HashSet.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Threads/Process.h>
#include <Kestrel/Root/Threads/Thread.h>

#include <algorithm>

namespace IO {

namespace {

// A requested location. Walking along one takes quadratic time, and a request could consist of one:
// it is cut after `DeepestLevel` names, and then no object is queried for it.
struct Place {
    static constexpr unsigned int DeepestLevel = 2048;

    RelativeLocation location;
    bool isTooDeep = false;
};

bool IsSeparator(char unit) {
    return unit == '/' || unit == '\\' || unit == ':';
}

// The length of the text up to the end of the last name that is used.
std::size_t MeasureNames(std::string_view text) {
    unsigned int names = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (!IsSeparator(text[i]) && (i + 1 == text.size() || IsSeparator(text[i + 1])) &&
            ++names == Place::DeepestLevel)
            return i + 1;
    return text.size();
}

bool ReadPlace(BlockIChannel & body, Place * place) {
    std::string_view text;
    if (!body.TakeText(&text))
        return false;
    std::size_t const length = MeasureNames(text);
    place->isTooDeep = !std::all_of(text.begin() + length, text.end(), IsSeparator);
    return place->location.Set(Mu::UniString(text.data(), static_cast<unsigned int>(length))) ==
           NoError;
}

void WriteNames(AnswerBlock & answer, Mu::Array<Name> const & names) {
    Write(answer, names.GetSize());
    for (Name const & name : names)
        Write(answer, name.ToString());
}

// The names with which registered locations continue below a location.
class NextNames : public ReflectionManager::Enumerator {
public:
    explicit NextNames(RelativeLocation const & location) : location(location) {}

    bool Visit(RelativeLocation const & registered, Reflectable *) override {
        if (location.IsAncestorOf(registered))
            names.Insert(Reflectable::GetName(registered, location.GetLength()));
        return true;
    }
    Mu::HashSet<Name> const & GetNames() const { return names; }

private:
    RelativeLocation const & location;
    Mu::HashSet<Name> names;
};

// Each reads a body and writes the body of the answer; nothing at all if the body is invalid.

using NameLists = ReflectionDialogue::NameLists;

void ServeGetChildrenRequest(BlockIChannel & body, AnswerBlock & answer, NameLists & lists) {
    Place place;
    if (!ReadPlace(body, &place))
        return;
    ReflectableUse const use(place.location);
    if (use.Get() != nullptr) {
        if (place.isTooDeep ||
            !use.Get()->GetChildren(use.GetRest(), &lists.folders, &lists.files)) {
            lists.folders.Clear(true);
            lists.files.Clear(true);
        }
        WriteNames(answer, lists.folders);
        WriteNames(answer, lists.files);
        return;
    }
    NextNames next(place.location);
    if (!place.isTooDeep)
        ReflectionManager::Enumerate(&next);
    Write(answer, next.GetNames().GetSize());
    for (Name const & name : next.GetNames())
        Write(answer, name.ToString());
    Write(answer, 0u);
}

void ServeGetAttributesRequest(BlockIChannel & body, AnswerBlock & answer, NameLists &) {
    Place place;
    if (!ReadPlace(body, &place))
        return;
    ReflectableUse const use(place.location);
    Mu::Array<Reflectable::Attribute> attributes;
    if (use.Get() == nullptr || place.isTooDeep ||
        !use.Get()->GetAttributes(use.GetRest(), &attributes))
        attributes.Clear();
    Write(answer, attributes.GetSize());
    for (Reflectable::Attribute const & attribute : attributes) {
        Write(answer, attribute.name);
        Write(answer, Mu::UniString(attribute.GetTypeString()));
    }
}

void ServeGetAttributeValuesRequest(BlockIChannel & body, AnswerBlock & answer, NameLists &) {
    Place place;
    unsigned int count = 0;
    if (!ReadPlace(body, &place) || !body.TakeNumber(&count))
        return;
    // All of them are checked before the first is answered, and none is kept: a list of short names
    // would need many times the memory of the body.
    std::string_view bytes;
    BlockIChannel trial(body);
    for (unsigned int i = 0; i < count; ++i)
        if (!trial.TakeText(&bytes))
            return;
    ReflectableUse const use(place.location);
    ValuesBelow things(use);
    Mu::UniString text;
    Name name;
    Mu::Array<Reflectable::AttributeValue> values;
    Mu::Thread const & thread = Mu::Thread::GetCurrent();
    for (unsigned int i = 0; i < count; ++i) {
        if (thread.IsCanceled()) // millions of names would delay the service's end
            throw Mu::IOException("The service ends.");
        ReadText(body, &text);
        name = text;
        if (place.isTooDeep || !things.Get(name, &values))
            values.Clear(true);
        Write(answer, values.GetSize());
        for (Reflectable::AttributeValue const & value : values)
            WriteValue(answer, value);
        values.Clear(true);
    }
}

Mu::UniString GetContent(Place const & place) {
    ReflectableUse const use(place.location);
    if (use.Get() == nullptr || use.GetRest().IsEmpty())
        return "No content is available.";
    MemoryOChannel channel;
    channel.SetOutputProtocol(Mu::textOProtocol);
    if (place.isTooDeep || !use.Get()->GetContent(use.GetRest(), channel))
        return "Error in the GetContent method!";
    char const * const content = channel.GetDestination();
    if (content == nullptr)
        Mu::ThrowOutOfMemory();
    return Mu::UniString(content, channel.GetDataSize());
}

void ServeGetContentRequest(BlockIChannel & body, AnswerBlock & answer, NameLists &) {
    Place place;
    if (ReadPlace(body, &place))
        Write(answer, GetContent(place));
}

constexpr struct {
    char const * name;
    void (*serve)(BlockIChannel & body, AnswerBlock & answer, NameLists & lists);
} requests[] = {
    {"Get children", ServeGetChildrenRequest},
    {"Get attributes", ServeGetAttributesRequest},
    {"Get attribute values", ServeGetAttributeValuesRequest},
    {"Get content", ServeGetContentRequest},
};

// Kept: this denotes the byte order, which is the same on all platforms of this library.
constexpr char const * SystemSign = "WIN";

} // namespace

bool ReflectionDialogue::ServeRequest() {
    bool const goesOn = Serve();
    TidyUp();
    return goesOn;
}

void ReflectionDialogue::TidyUp() {
    constexpr unsigned int KeptBytes = 256 * 1024;
    constexpr unsigned int KeptNames = 16384;
    bytes.Trim(KeptBytes);
    answer.Empty(KeptBytes);
    for (Mu::Array<Name> * list : {&lists.folders, &lists.files})
        list->Clear(list->GetCapacity() <= KeptNames);
}

bool ReflectionDialogue::Serve() {
    Mu::UniString name;
    ReadText(input, &name, bodyLimit);
    if (name == "Disconnect")
        return false;
    if (name == "Ident" || name == "GetOS" || name == "GetPid") {
        if (name == "GetPid")
            Write(answer, Mu::Process::GetCurrentProcessId());
        else
            Write(answer, name == "Ident" ? ident : Mu::UniString(SystemSign));
        answer.Send(output, false);
        return true;
    }
    unsigned int size = 0;
    Read(input, &size);
    if (size > bodyLimit)
        throw Mu::IOException("The request is too long.");
    // Kept: when out of memory, the rest of the body is not read, so that it is taken for the next
    // request.
    if (!bytes.ReadFrom(input, size))
        return true;
    for (auto const & request : requests) {
        if (name != request.name)
            continue;
        BlockIChannel body(bytes.GetBytes(), size);
        Write(answer, 0u); // replaced by the size
        request.serve(body, answer, lists);
        answer.Send(output, true);
        return true;
    }
    if (name == "Stop")
        return false;
    throw Mu::UniString("Unknown / unsupported request");
}

} // namespace IO
