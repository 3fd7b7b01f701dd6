#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/WindowsNames.h>

namespace Mu {

class CustomClassProperty;
class Guid;
class IChannel;
class OChannel;
class Object;
class ClassInfo;

/// The version of a class's written form: a new main version is another form, a new sub-version
/// adds fields at the end.
class KESTREL_API ClassVersion {
public:
    constexpr ClassVersion(unsigned char givenMain = 0, unsigned char givenSub = 0)
        : main(givenMain), sub(givenSub) {}
    unsigned char GetMainVersion() const { return main; }
    unsigned char GetSubVersion() const { return sub; }
    /// Two bytes, through the channel's protocol.
    MuErrCode Read(IChannel & channel);
    MuErrCode Write(OChannel & channel) const;
    friend bool operator==(ClassVersion const &, ClassVersion const &) = default;

private:
    unsigned char main;
    unsigned char sub;
};

/// A short number of a class, made of its name.
struct ClassType {
    unsigned int first = 0;
    unsigned int second = 0;
};

/// Flags that objects of a class begin with.
class ObjectDefaults {
public:
    constexpr explicit ObjectDefaults(unsigned int givenBits = 0) : bits(givenBits) {}
    operator unsigned int() const { return bits; }

private:
    unsigned int bits;
};

/// The value of a property of a host's own in one class record: 32 bits, whose meaning is the
/// host's.
class CustomClassPropertyValue {
public:
    constexpr explicit CustomClassPropertyValue(unsigned int givenValue = 0) : value(givenValue) {}
    unsigned int GetValueUInt32() const { return value; }

private:
    unsigned int value;
};

/// One thing that a class record states beside its name. An empty one states nothing.
class KESTREL_API ClassProperty {
public:
    using Constructor = Object * (*)();

    constexpr ClassProperty() = default;
    constexpr ClassProperty(ClassVersion givenVersion)
        : kind(Kind::Version), version(givenVersion) {}
    /// A base class, whose record need not be constructed yet.
    constexpr ClassProperty(ClassInfo const & givenBase) : kind(Kind::Base), base(&givenBase) {}
    constexpr ClassProperty(Constructor givenMake) : kind(Kind::Constructor), make(givenMake) {}
    constexpr ClassProperty(ObjectDefaults givenDefaults)
        : kind(Kind::Defaults), defaults(givenDefaults) {}
    constexpr ClassProperty(CustomClassProperty const & property, CustomClassPropertyValue value)
        : kind(Kind::Custom), custom(&property), customValue(value) {}
    /// The oldest version that the class still reads.
    static constexpr ClassProperty OldVersion(ClassVersion version) {
        ClassProperty property(version);
        property.kind = Kind::OldVersion;
        return property;
    }

private:
    friend class ClassInfo;
    enum class Kind { None, Version, OldVersion, Base, Constructor, Defaults, Custom };

    Kind kind = Kind::None;
    ClassVersion version;
    ObjectDefaults defaults;
    ClassInfo const * base = nullptr;
    Constructor make = nullptr;
    CustomClassProperty const * custom = nullptr;
    CustomClassPropertyValue customValue;
};

/// The record of a class whose objects are written and read: its name and the version of its form.
/// Each such class has one, static and constant; it registers itself with the class manager.
///
/// Memory:  none.
/// Threads: any.
/// Failure: none.
class KESTREL_API ClassInfo {
public:
    /// The name is a literal, namespace included, and what a class is known by in files.
    explicit ClassInfo(char const * name, ClassProperty first = {}, ClassProperty second = {},
                       ClassProperty third = {}, ClassProperty fourth = {},
                       ClassProperty fifth = {}, ClassProperty sixth = {},
                       ClassProperty seventh = {}, ClassProperty eighth = {},
                       ClassProperty ninth = {}, ClassProperty tenth = {});
    ~ClassInfo();
    ClassInfo(ClassInfo const &) = delete;
    ClassInfo & operator=(ClassInfo const &) = delete;

    /// Gets the records of the base classes that a record names.
    class BaseClassEnumerator {
    public:
        /// True to go on.
        virtual bool ClassInfoFound(ClassInfo const & base) = 0;

    protected:
        ~BaseClassEnumerator() = default;
    };

    char const * GetName() const { return name; }
    ClassType GetType() const;
    /// The digest of the name.
    Guid GetId() const;
    /// 0.0 when the record states none.
    ClassVersion GetVersion() const;
    ClassVersion GetOldVersion() const;
    /// In the order in which the record lists them.
    void EnumerateBaseClasses(BaseClassEnumerator * enumerator) const;
    bool HasConstructor() const;
    /// An object of the class on the heap, owned by the caller; null without a constructor.
    Object * Construct() const;
    ObjectDefaults GetObjectDefaults() const;
    /// 0 for a property that the record does not state.
    CustomClassPropertyValue GetCustomPropertyValue(CustomClassProperty const & property) const;

    /// What a frame header knows the class by.
    unsigned int GetNameHash() const { return nameHash; }

private:
    friend struct ClassRegisters;
    static constexpr unsigned int PropertyCount = 10;
    ClassProperty const * FindProperty(ClassProperty::Kind kind) const;

    char const * name;
    unsigned int nameHash;
    ClassProperty properties[PropertyCount];
    ClassInfo * next = nullptr; // in the register of all
};

/// Gets the class records of the process.
class ClassInfoEnumerator {
public:
    /// True to go on.
    virtual bool ClassInfoFound(ClassInfo const & info) = 0;

protected:
    ~ClassInfoEnumerator() = default;
};

/// Knows every class record of the process.
///
/// Threads: any. A record that ends waits for the visit of another thread that is at it.
class KESTREL_API ClassManager {
public:
    /// In order of construction.
    void EnumerateClassInfos(ClassInfoEnumerator * enumerator) const;
};

inline constexpr ClassManager classManager;

/// A property that a host adds to class records. Static objects; each is known from its
/// construction to its end.
class KESTREL_API CustomClassProperty {
public:
    explicit CustomClassProperty(char const * name, unsigned int valueType = 0);
    virtual ~CustomClassProperty();
    CustomClassProperty(CustomClassProperty const &) = delete;
    CustomClassProperty & operator=(CustomClassProperty const &) = delete;

    /// Gets the properties that hosts have made.
    class InstanceEnumerator {
    public:
        /// True to go on.
        virtual bool InstanceFound(CustomClassProperty const & property) = 0;

    protected:
        ~InstanceEnumerator() = default;
    };
    /// In order of construction.
    static void EnumerateInstances(InstanceEnumerator * enumerator);

    char const * GetName() const { return name; }
    /// 0: a 32-bit number, with or without a name.
    unsigned int GetValueType() const { return valueType; }
    /// The name of a value, or null.
    virtual char const * GetValueName(unsigned int value) const;

private:
    friend struct ClassRegisters;

    char const * name;
    unsigned int valueType;
    CustomClassProperty * next = nullptr; // in the register of all
};

} // namespace Mu
