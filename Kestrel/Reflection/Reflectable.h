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

/// Something that shows its inside as a tree of named things with attributes.
///
/// For any part of a program that should be seen from outside while the program runs. The object is
/// registered under a location with ReflectionManager; the service and the reflection file system
/// then ask it four questions about a location below that one: which children there are, which
/// attributes those have, what the values of one thing are, and what its text is.
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
/// A fixed level is a StaticEntry; a level whose names only the class knows is a CustomEntryGroup,
/// which is listed where it is the only child of its parent. A CollectorEntry shows all that lies
/// at some level of a tree as one list. Attributes belong to what is listed: the columns of a
/// folder are those of its first child. A class may also do without a tree, leave the root out, and
/// override the questions themselves.
///
/// Memory:  the entries, from the root; they live as long as the object and its copies.
/// Threads: the tree is built in a constructor and is read-only from then on; any number may ask.
///          The service asks on threads of its own, so hooks look after what they read. A class
///          unregisters in its own destructor, before anything of it goes.
/// Failure: false where a location leads nowhere; Mu::OutOfMemoryException, and whatever a hook
///          throws.
class KESTREL_API Reflectable {
public:
    /// The name and the kind of a column.
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

        /// The name of the type as it stands above; empty for Undefined and for what is no type.
        char const * GetTypeString() const;
    };

    /// One value, which knows its own kind.
    struct KESTREL_API AttributeValue {
        /// The kinds are those of Attribute::Type, plus one.
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
            long long integer = 0; // and so all 8 bytes are set, whichever is used
            unsigned long long unsignedInteger;
            double real;
            bool boolean;
            void * pointer;
        };

        int tag = NoValueTag;
        Value value;
        Mu::UniString string; ///< empty but for StringTag

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
        AttributeValue(void const * pointer); // which would count as a bool otherwise

        /// The value for people, the same on all platforms: numbers in decimal, reals with up to 16
        /// digits, "true" or "false", "NULL" or "0x" with the 16 digits of the pointer. Empty where
        /// there is no value.
        Mu::UniString ToString() const;
    };

    /// One level of a tree; the base of all kinds. Made by the Create operations only.
    class KESTREL_API Entry : public Mu::Allocated {
    public:
        Entry(Entry const &) = delete;
        Entry & operator=(Entry const &) = delete;
        virtual ~Entry();
        /// Whether a location may go through here by that name.
        virtual bool HasName(Name const & name) const;
        /// The fixed name, empty where there is none.
        virtual Name GetName() const;

        unsigned int GetChildCount() const { return children.GetSize(); }
        /// Not checked.
        Entry const * GetChild(unsigned int index) const { return children[index]; }
        /// The first child that has the name; null when none has.
        Entry const * FindChild(Name const & name) const;
        unsigned int GetAttributeCount() const { return attributes.GetSize(); }
        /// Not checked.
        Attribute const & GetAttribute(unsigned int index) const { return attributes[index]; }

        /// Null is passed over.
        void ConnectChild(Entry const * child);
        void AddAttribute(Attribute const & attribute);
        /// In the place of its own.
        void CopyAttributes(Entry const & from);

    protected:
        Entry();

    private:
        friend class Reflectable;

        Mu::Array<Entry const *> children;    // not owned; several parents, or itself, may have it
        Mu::Array<Attribute> attributes;      // of this entry, where it is listed
        std::atomic<unsigned int> owners = 0; // objects, of which all but one are copies
    };

    /// The top, which has no name.
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

    /// A fixed name under which everything at one level of a tree is listed, from all branches.
    class KESTREL_API CollectorEntry : public Entry {
    public:
        bool HasName(Name const & other) const override;
        Name GetName() const override;
        /// Where the search begins.
        Entry const * GetRoot() const { return root; }
        /// The level whose names are listed, and where a location goes on below this entry.
        Entry const * GetTarget() const { return target; }

    private:
        friend class Reflectable;
        CollectorEntry(Name const & itsName, Entry const * itsRoot, Entry const * itsTarget)
            : name(itsName), root(itsRoot), target(itsTarget) {}

        Name name;
        Entry const * root;
        Entry const * target;
    };

    /// Any number of children, whose names only the class knows, at the time of the query.
    class KESTREL_API CustomEntryGroup : public Entry {
    public:
        /// Any name, which the class checks later.
        bool HasName(Name const & name) const override;

    private:
        friend class Reflectable;
        CustomEntryGroup() = default;
    };

    Reflectable();
    /// Registers the object under the location, unless that lies above or below another one's, and
    /// unregisters it in the destructor. A class with hooks unregisters in its own destructor, too:
    /// when this one runs, the hooks are gone.
    explicit Reflectable(RelativeLocation const & location);
    /// The copy has the same entries, and shares in them. It is not registered.
    Reflectable(Reflectable const & other);
    Reflectable & operator=(Reflectable const & other);
    virtual ~Reflectable();

    // The questions. A location is relative to that of the object. The lists are cleared first.

    /// What is listed at the location: first what can be walked into, then what has a content.
    /// False: there is no such place now.
    virtual bool GetChildren(RelativeLocation const & location, Mu::Array<Name> * folders,
                             Mu::Array<Name> * files) const;
    /// The columns of what is listed at the location. Names of dynamic levels are not looked up.
    virtual bool GetAttributes(RelativeLocation const & location,
                               Mu::Array<Attribute> * attributes) const;
    /// The values of the one thing at the location, in the order of the columns. Fixed entries have
    /// none.
    virtual bool GetAttributeValues(RelativeLocation const & location,
                                    Mu::Array<AttributeValue> * values) const;
    /// Writes the columns and values of the thing, a line each, in the default character code.
    virtual bool GetContent(RelativeLocation const & location, Mu::OChannel & channel) const;

    // The hooks of a class with groups. `entries` is the way to the group, the deepest first, and
    // `names` are the names of the groups on it, the deepest first. What they return is not looked
    // at by the questions.

    /// Lists what there is below the group.
    virtual bool GetEntries(CustomEntryGroup const * group,
                            Mu::Array<Entry const *> const & entries, Mu::Array<Name> const & names,
                            Mu::Array<Name> * folders, Mu::Array<Name> * files) const;
    /// Returns the values of the thing of that name, in the order of the attributes of the group.
    virtual bool GetEntryAttributeValues(CustomEntryGroup const * group, Name const & name,
                                         Mu::Array<Entry const *> const & entries,
                                         Mu::Array<Name> const & names,
                                         Mu::Array<AttributeValue> * values) const;

    // Building a tree. All entries belong to the object.

    /// The root; the first call makes it.
    RootEntry * CreateRootEntry();
    StaticEntry * CreateStaticEntry(Name const & name);
    /// Null: one of the three is.
    CollectorEntry * CreateCollectorEntry(Name const & name, Entry const * root,
                                          Entry const * target);
    CustomEntryGroup * CreateCustomEntryGroup();
    /// Appends a child; a null one is passed over. A group that is its own child is a level that
    /// goes on to any depth.
    static void Connect(Entry * parent, Entry * child);
    // Nothing happens for a null argument.
    static void AddAttribute(Entry * entry, Mu::UniString const & name, Attribute::Type type);
    static void AddAttribute(Entry * entry, char const * name, Attribute::Type type);
    static void CopyAttributes(Entry * to, Entry const * from);

    // For classes that parse locations themselves.

    /// Empty: there is no such name.
    static Name GetName(RelativeLocation const & location, unsigned int index);
    static Name GetLastName(RelativeLocation const & location);
    /// Whether a location fits a pattern of as many names. "?" fits any name, and "a|b" one that is
    /// letter for letter one of the parts; any other name fits as names do.
    static bool Matches(RelativeLocation const & location, RelativeLocation const & pattern);
    static bool Matches(RelativeLocation const & location, char const * pattern);

    // Values as names of a dynamic level, and back. What cannot be read back is 0.

    static Name ToName(unsigned int value);
    static Name ToName(int value);
    static Name ToName(double value);
    static Name ToName(void const * pointer);
    static unsigned int ToULong(Name const & name);
    /// Also reads octal and hexadecimal, by their prefixes.
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
    Mu::Array<Entry *> entries; // owned, together with the copies
    RootEntry * root = nullptr; // null in a class without a tree
};

} // namespace IO
