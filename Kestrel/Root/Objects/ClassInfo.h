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

/// The version of a class's written format: a new main version is another format, a new sub-version
/// adds fields at the end.
class KESTREL_API ClassVersion {
public:
    constexpr ClassVersion(unsigned char givenMain = 0, unsigned char givenSub = 0)
        : main(givenMain), sub(givenSub) {}
    unsigned char GetMainVersion() const { return main; }
    unsigned char GetSubVersion() const { return sub; }
    /// Written as two bytes, through the channel's protocol.
    MuErrCode Read(IChannel & channel);
    MuErrCode Write(OChannel & channel) const;
    friend bool operator==(ClassVersion const &, ClassVersion const &) = default;

private:
    unsigned char main;
    unsigned char sub;
};

/// A short number of a class, computed from its name.
struct ClassType {
    unsigned int first = 0;
    unsigned int second = 0;
};

/// Flags at the start of the objects of a class.
class ObjectDefaults {
public:
    constexpr explicit ObjectDefaults(unsigned int givenBits = 0) : bits(givenBits) {}
    operator unsigned int() const { return bits; }

private:
    unsigned int bits;
};

/// The value of a host's property in one class record: 32 bits with a meaning defined by the host.
class CustomClassPropertyValue {
public:
    constexpr explicit CustomClassPropertyValue(unsigned int givenValue = 0) : value(givenValue) {}
    unsigned int GetValueUInt32() const { return value; }

private:
    unsigned int value;
};

/// One optional part of a class record. An empty one has no effect.
class KESTREL_API ClassProperty {
public:
    using Constructor = Object * (*)();

    constexpr ClassProperty() = default;
    constexpr ClassProperty(ClassVersion givenVersion)
        : kind(Kind::Version), version(givenVersion) {}
    /// A base class; its record may be constructed later.
    constexpr ClassProperty(ClassInfo const & givenBase) : kind(Kind::Base), base(&givenBase) {}
    constexpr ClassProperty(Constructor givenMake) : kind(Kind::Constructor), make(givenMake) {}
    constexpr ClassProperty(ObjectDefaults givenDefaults)
        : kind(Kind::Defaults), defaults(givenDefaults) {}
    constexpr ClassProperty(CustomClassProperty const & property, CustomClassPropertyValue value)
        : kind(Kind::Custom), custom(&property), customValue(value) {}
    /// The oldest version that the class can read.
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

/// The record of a class whose objects are written and read: its name and the version of its
/// format. Each such class has one, static and constant; it registers itself with the class
/// manager.
///
/// Memory:  none.
/// Threads: any.
/// Failure: none.
class KESTREL_API ClassInfo {
public:
    /// The name is a literal, including the namespace, and identifies the class in files.
    explicit ClassInfo(char const * name, ClassProperty first = {}, ClassProperty second = {},
                       ClassProperty third = {}, ClassProperty fourth = {},
                       ClassProperty fifth = {}, ClassProperty sixth = {},
                       ClassProperty seventh = {}, ClassProperty eighth = {},
                       ClassProperty ninth = {}, ClassProperty tenth = {});
    ~ClassInfo();
    ClassInfo(ClassInfo const &) = delete;
    ClassInfo & operator=(ClassInfo const &) = delete;

    /// Receives the records of the base classes of a record.
    class BaseClassEnumerator {
    public:
        /// Return true to continue.
        virtual bool ClassInfoFound(ClassInfo const & base) = 0;

    protected:
        ~BaseClassEnumerator() = default;
    };

    char const * GetName() const { return name; }
    ClassType GetType() const;
    /// The digest of the name.
    Guid GetId() const;
    /// 0.0 if the record has none.
    ClassVersion GetVersion() const;
    ClassVersion GetOldVersion() const;
    /// In the order of the record.
    void EnumerateBaseClasses(BaseClassEnumerator * enumerator) const;
    bool HasConstructor() const;
    /// A new object of the class, owned by the caller; null without a constructor.
    Object * Construct() const;
    ObjectDefaults GetObjectDefaults() const;
    /// 0 for a property that the record does not have.
    CustomClassPropertyValue GetCustomPropertyValue(CustomClassProperty const & property) const;

    /// The identification of the class in frame headers.
    unsigned int GetNameHash() const { return nameHash; }

private:
    friend struct ClassRegisters;
    static constexpr unsigned int PropertyCount = 10;
    ClassProperty const * FindProperty(ClassProperty::Kind kind) const;

    char const * name;
    unsigned int nameHash;
    ClassProperty properties[PropertyCount];
    ClassInfo * next = nullptr; // in the list of all
};

/// Receives the class records of the process.
class ClassInfoEnumerator {
public:
    /// Return true to continue.
    virtual bool ClassInfoFound(ClassInfo const & info) = 0;

protected:
    ~ClassInfoEnumerator() = default;
};

/// The list of all class records of the process.
///
/// Threads: any. The destructor of a record waits for another thread that is visiting it.
class KESTREL_API ClassManager {
public:
    /// In order of construction.
    void EnumerateClassInfos(ClassInfoEnumerator * enumerator) const;
};

inline constexpr ClassManager classManager;

/// A property that a host adds to class records. A static object; it is registered from its
/// construction to its destruction.
class KESTREL_API CustomClassProperty {
public:
    explicit CustomClassProperty(char const * name, unsigned int valueType = 0);
    virtual ~CustomClassProperty();
    CustomClassProperty(CustomClassProperty const &) = delete;
    CustomClassProperty & operator=(CustomClassProperty const &) = delete;

    /// Receives the properties that hosts have defined.
    class InstanceEnumerator {
    public:
        /// Return true to continue.
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
    CustomClassProperty * next = nullptr; // in the list of all
};

} // namespace Mu
