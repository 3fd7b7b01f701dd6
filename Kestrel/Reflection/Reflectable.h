#pragma once

#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/UniString.h>

#include <atomic>

namespace Mu {
class OChannel;
}

namespace IO {

class RelativeLocation;

/// An object that exposes its inside as a tree of named things with attributes.
///
/// It makes any part of a program visible from outside while the program runs. The object is
/// registered under a location with ReflectionManager. The service and the reflection file system
/// then make four kinds of queries about a location below it: which children there are, which
/// attributes they have, what the values of one thing are, and what its text is.
///
/// A class describes its tree in its constructor and supplies the levels that change:
///
///     class Shop : public IO::Reflectable {
///         CustomEntryGroup * orders;
///     public:
///         Shop() {
///             StaticEntry * const list = CreateStaticEntry("Orders");
///             orders = CreateCustomEntryGroup();
///             AddAttribute(orders, "total", Attribute::Real);
///             Connect(CreateRootEntry(), list);
///             Connect(list, orders);
///             IO::ReflectionManager::Register(IO::RelativeLocation("Shop"), this, false);
///         }
///         ~Shop() override { IO::ReflectionManager::Unregister(this); }
///         bool GetEntries(...) const override;              // the names of the orders
///         bool GetEntryAttributeValues(...) const override; // the total of one
///     };
///
/// A fixed level is a StaticEntry. A level whose names are determined at the time of the query is a
/// CustomEntryGroup; it is listed if it is the only child of its parent. A CollectorEntry lists
/// everything at one level of a tree in one place. Attributes belong to the listed entries: the
/// columns of a folder are those of its first child. A class may also do without a tree, that is,
/// without a root, and override the queries themselves.
///
/// Memory:  the entries, from the root library; they are freed with the last copy of the object.
/// Threads: the tree is built in a constructor and is read-only afterwards; any number of threads
///          may query it. The service queries on its own threads, so hooks must synchronise what
///          they read. A derived class unregisters first thing in its own destructor.
/// Failure: false if a location does not exist; Mu::OutOfMemoryException, and any exception of a
///          hook.
class KESTREL_API Reflectable {
public:
    /// The name and type of a column.
    struct KESTREL_API Attribute {
        enum Type : unsigned int {
            Integer = 0,
            UnsignedInteger = 1,
            Real = 2,
            Boolean = 3,
            String = 4,
            Pointer = 5,
            Undefined = 6
        };

        Mu::UniString name;
        Type type = Undefined;

        Attribute() = default;
        Attribute(Mu::UniString const & itsName, Type itsType) : name(itsName), type(itsType) {}
        /// The name is in the default character code.
        Attribute(char const * itsName, Type itsType) : name(itsName), type(itsType) {}

        /// The name of the type as in the enumeration; empty for Undefined and unknown values.
        char const * GetTypeString() const;
    };

    /// One value together with its type.
    struct KESTREL_API AttributeValue {
        /// The values of Attribute::Type, and one more.
        enum Tag : int {
            IntegerTag = 1,
            UnsignedIntegerTag = 2,
            RealTag = 3,
            BooleanTag = 4,
            StringTag = 5,
            PointerTag = 6,
            NoValueTag = 7
        };
        union Value {
            long long integer = 0; // initialises all 8 bytes, whichever member is used
            unsigned long long unsignedInteger;
            double real;
            bool boolean;
            void * pointer;
        };

        int tag = NoValueTag;
        Value value;
        Mu::UniString string; ///< empty except for StringTag

        AttributeValue() = default;
        AttributeValue(short number) : AttributeValue(static_cast<long long>(number)) {}
        AttributeValue(int number) : AttributeValue(static_cast<long long>(number)) {}
        AttributeValue(long number) : AttributeValue(static_cast<long long>(number)) {}
        AttributeValue(long long number);
        AttributeValue(unsigned short number)
            : AttributeValue(static_cast<unsigned long long>(number)) {}
        AttributeValue(unsigned int number)
            : AttributeValue(static_cast<unsigned long long>(number)) {}
        AttributeValue(unsigned long number)
            : AttributeValue(static_cast<unsigned long long>(number)) {}
        AttributeValue(unsigned long long number);
        AttributeValue(float number) : AttributeValue(static_cast<double>(number)) {}
        AttributeValue(double number);
        AttributeValue(bool truth);
        AttributeValue(Mu::UniString const & text);
        /// The text is in the default character code.
        AttributeValue(char const * text);
        AttributeValue(char16_t const * text);
        AttributeValue(void * pointer);
        AttributeValue(void const * pointer); // otherwise a pointer would convert to bool

        /// The value as text, the same on all platforms: numbers in decimal, reals with up to 16
        /// digits, "true" or "false", "NULL" or "0x" with the 16 digits of the pointer. Empty if
        /// there is no value.
        Mu::UniString ToString() const;
    };

    /// One level of a tree; the base of all kinds. Created only by the Create operations.
    class KESTREL_API Entry : public Mu::Allocated {
    public:
        Entry(Entry const &) = delete;
        Entry & operator=(Entry const &) = delete;
        virtual ~Entry();
        /// Whether a location may pass through this entry by that name.
        virtual bool HasName(Name const & name) const;
        /// The fixed name; empty if there is none.
        virtual Name GetName() const;

        unsigned int GetChildCount() const { return children.GetSize(); }
        /// Not checked.
        Entry const * GetChild(unsigned int index) const { return children[index]; }
        /// The first child with that name; null if there is none.
        Entry const * FindChild(Name const & name) const;
        unsigned int GetAttributeCount() const { return attributes.GetSize(); }
        /// Not checked.
        Attribute const & GetAttribute(unsigned int index) const { return attributes[index]; }

        /// Ignores null.
        void ConnectChild(Entry const * child);
        void AddAttribute(Attribute const & attribute);
        /// Replaces its own.
        void CopyAttributes(Entry const & from);

    protected:
        Entry();

    private:
        friend class Reflectable;

        Mu::Array<Entry const *> children;    // not owned; may be shared, or the entry itself
        Mu::Array<Attribute> attributes;      // of this entry, for where it is listed
        std::atomic<unsigned int> owners = 0; // the objects that use it, which are copies of one
    };

    /// The root, which has no name.
    class KESTREL_API RootEntry : public Entry {
        friend class Reflectable;
        RootEntry() = default;
    };

    /// A level with a fixed name.
    class KESTREL_API StaticEntry : public Entry {
    public:
        bool HasName(Name const & other) const override;
        Name GetName() const override;

    private:
        friend class Reflectable;
        explicit StaticEntry(Name const & itsName) : name(itsName) {}

        Name name;
    };

    /// A fixed name that lists everything at one level of a tree, from all branches.
    class KESTREL_API CollectorEntry : public Entry {
    public:
        bool HasName(Name const & other) const override;
        Name GetName() const override;
        /// Where the search starts.
        Entry const * GetRoot() const { return root; }
        /// The level whose names are listed, and where a location continues below this entry.
        Entry const * GetTarget() const { return target; }

    private:
        friend class Reflectable;
        CollectorEntry(Name const & itsName, Entry const * itsRoot, Entry const * itsTarget)
            : name(itsName), root(itsRoot), target(itsTarget) {}

        Name name;
        Entry const * root;
        Entry const * target;
    };

    /// Any number of children, whose names the class determines at the time of the query.
    class KESTREL_API CustomEntryGroup : public Entry {
    public:
        /// Accepts any name, which the class checks later.
        bool HasName(Name const & name) const override;

    private:
        friend class Reflectable;
        CustomEntryGroup() = default;
    };

    Reflectable();
    /// Registers the object under the location, unless that is above or below the location of
    /// another one, and unregisters it in the destructor. A class with hooks must also unregister
    /// in its own destructor, as its hooks no longer exist when this one runs.
    explicit Reflectable(RelativeLocation const & location);
    /// The copy shares the entries. It is not registered.
    Reflectable(Reflectable const & other);
    Reflectable & operator=(Reflectable const & other);
    virtual ~Reflectable();

    // The queries. A location is relative to that of the object. Output lists are cleared first.

    /// Lists the location: first the entries that have children, then those that have content.
    /// False: the location does not exist at present.
    virtual bool GetChildren(RelativeLocation const & location, Mu::Array<Name> * folders,
                             Mu::Array<Name> * files) const;
    /// The columns of the entries that are listed at the location. Names of dynamic levels are not
    /// checked.
    virtual bool GetAttributes(RelativeLocation const & location,
                               Mu::Array<Attribute> * attributes) const;
    /// The values of the thing at the location, in the order of the columns. Fixed entries have
    /// none.
    virtual bool GetAttributeValues(RelativeLocation const & location,
                                    Mu::Array<AttributeValue> * values) const;
    /// Writes the columns and values of the thing, one per line, in the default character code.
    virtual bool GetContent(RelativeLocation const & location, Mu::OChannel & channel) const;

    // The hooks of a class with groups. `entries` is the path to the group, and `names` are the
    // names of the groups on it; both start with the deepest. The queries ignore the return values.

    /// Lists what is below the group.
    virtual bool GetEntries(CustomEntryGroup const * group,
                            Mu::Array<Entry const *> const & entries, Mu::Array<Name> const & names,
                            Mu::Array<Name> * folders, Mu::Array<Name> * files) const;
    /// Returns the values of the named thing, in the order of the group's attributes.
    virtual bool GetEntryAttributeValues(CustomEntryGroup const * group, Name const & name,
                                         Mu::Array<Entry const *> const & entries,
                                         Mu::Array<Name> const & names,
                                         Mu::Array<AttributeValue> * values) const;

    // Building a tree. All entries belong to the object.

    /// The root; the first call creates it.
    RootEntry * CreateRootEntry();
    StaticEntry * CreateStaticEntry(Name const & name);
    /// Null: one of the three arguments is.
    CollectorEntry * CreateCollectorEntry(Name const & name, Entry const * root,
                                          Entry const * target);
    CustomEntryGroup * CreateCustomEntryGroup();
    /// Appends a child; null is ignored. A group that is its own child is a level of any depth.
    static void Connect(Entry * parent, Entry * child);
    // These do nothing for null arguments.
    static void AddAttribute(Entry * entry, Mu::UniString const & name, Attribute::Type type);
    static void AddAttribute(Entry * entry, char const * name, Attribute::Type type);
    static void CopyAttributes(Entry * to, Entry const * from);

    // For classes that parse locations themselves.

    /// Empty: there is no such name.
    static Name GetName(RelativeLocation const & location, unsigned int index);
    static Name GetLastName(RelativeLocation const & location);
    /// Whether a location matches a pattern with the same number of names. "?" matches any name,
    /// "a|b" a name that is identical to one of the parts; any other name matches by the comparison
    /// of names.
    static bool Matches(RelativeLocation const & location, RelativeLocation const & pattern);
    static bool Matches(RelativeLocation const & location, char const * pattern);

    // Conversion of values to names of a dynamic level and back. An invalid name converts to 0.

    static Name ToName(unsigned int value);
    static Name ToName(int value);
    static Name ToName(double value);
    static Name ToName(void const * pointer);
    static unsigned int ToULong(Name const & name);
    /// Also accepts octal and hexadecimal numbers with their prefixes.
    static int ToSLong(Name const & name);
    static double ToDouble(Name const & name);
    static void const * ToPointer(Name const & name);

private:
    friend class ValuesBelow;

    template <typename Kind>
    Kind * Keep(Kind * made);
    void Share();
    void Release();

    bool isSelfRegistered = false;
    Mu::Array<Entry *> entries; // shared with the copies
    RootEntry * root = nullptr; // null in a class without a tree
};

} // namespace IO
