#include <Kestrel/Reflection/Internal/FileTypeReflection.h>

#include <Kestrel/FileType/FileType.h>
#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/ReflectionManager.h>

namespace FTM {

namespace {

using IO::Name;
using IO::Reflectable;
using IO::RelativeLocation;

Name ToName(GeneralID id) {
    unsigned int raw;
    id.Store(raw);
    return Reflectable::ToName(raw);
}

GeneralID ToID(Name const & name) {
    GeneralID id;
    id.Load(Reflectable::ToULong(name));
    return id;
}

// How far a location leads through groups, and the name at which that ends.
struct Walk {
    GroupID group = RootGroup;
    unsigned int index = 0; // of the first name that is not a group; the length if all are
    GeneralID other;        // the identifier in that name

    explicit Walk(RelativeLocation const & location) {
        for (; index < location.GetLength(); ++index) {
            other = ToID(Reflectable::GetName(location, index));
            if (!other.IsGroup() || !IsChild(GroupID(other)))
                return;
            group = GroupID(other);
        }
    }

private:
    bool IsChild(GroupID child) const {
        return child != RootGroup && child != UnknownGroup &&
               FileTypeManager::IsGroupInGroup(child, group);
    }
};

// The type at the end of a walk; UnknownType if there is none in the group.
TypeID GetType(Walk const & walk) {
    TypeID const type(walk.other);
    bool const isThere = type != UnknownType && FileTypeManager::IsTypeInGroup(type, walk.group);
    return isThere ? type : UnknownType;
}

Mu::UniString JoinExtensions(FileType const & type) {
    Mu::UniString joined;
    for (int i = 0; i < type.CountExtensions(); ++i) {
        if (i > 0)
            joined.Append(";");
        joined.Append(type.GetExtension(static_cast<unsigned int>(i)));
    }
    return joined;
}

Mu::UniString ToFourCharacters(unsigned int code) {
    char const text[] = {static_cast<char>(code >> 24), static_cast<char>(code >> 16),
                         static_cast<char>(code >> 8), static_cast<char>(code)};
    return Mu::UniString(text, 4);
}

} // namespace

Reflection::Reflection() {
    IO::ReflectionManager::Register(
        RelativeLocation(RelativeLocation(Name("Kestrel")), Name("FileTypeManager")), this, false);
}

Reflection::~Reflection() {
    IO::ReflectionManager::Unregister(this);
}

bool Reflection::GetChildren(RelativeLocation const & location, Mu::Array<Name> * folders,
                             Mu::Array<Name> * files) const {
    if (Mu::IsNull(location) || folders == nullptr || files == nullptr)
        return false;
    folders->Clear(true);
    files->Clear(true);
    Walk const walk(location);
    if (walk.index < location.GetLength()) // a type at the end has no children
        return walk.index + 1 == location.GetLength() && GetType(walk) != UnknownType;
    for (GroupID group = FileTypeManager::GetFirstGroupChild(walk.group); group != UnknownGroup;
         group = FileTypeManager::GetNextGroup(group))
        folders->Push(FTM::ToName(group));
    for (TypeID type = FileTypeManager::GetFirstTypeChild(walk.group); type != UnknownType;
         type = FileTypeManager::GetNextType(walk.group, type))
        files->Push(FTM::ToName(type));
    return true;
}

bool Reflection::GetAttributes(RelativeLocation const & location,
                               Mu::Array<Attribute> * attributes) const {
    if (Mu::IsNull(location) || attributes == nullptr)
        return false;
    attributes->Clear(true);
    for (char const * name : {"name / description", "extensions", "type", "creator", "icon"})
        attributes->Emplace(name, Attribute::String);
    return true;
}

bool Reflection::GetAttributeValues(RelativeLocation const & location,
                                    Mu::Array<AttributeValue> * values) const {
    if (Mu::IsNull(location) || values == nullptr)
        return false;
    values->Clear(true);
    Walk const walk(location);
    if (walk.index == location.GetLength()) {
        char name[256] = "";
        FileTypeManager::GetGroupName(walk.group, name, sizeof name);
        values->Emplace(name); // and no other column
        return true;
    }
    // Kept: one more name after a type is ignored.
    FileType type;
    TypeID const id = GetType(walk);
    if (walk.index + 2 < location.GetLength() || id == UnknownType ||
        FileTypeManager::GetType(id, &type) != Mu::NoError)
        return false;
    values->Emplace(type.GetDescription());
    values->Emplace(JoinExtensions(type));
    values->Emplace(ToFourCharacters(type.GetMacType(0)));
    values->Emplace(ToFourCharacters(type.GetMacCreator()));
    values->Emplace(type.GetIconID());
    return true;
}

} // namespace FTM
