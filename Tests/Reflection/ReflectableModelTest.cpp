// Random trees and random locations: what the questions find is what the rules, written down once
// more in plain terms, find.

#include <Kestrel/Reflection/Reflectable.h>

#include "Tests/Support/Reflection/Level.h"

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/ReflectableUse.h>
#include <Kestrel/Reflection/Internal/ValuesBelow.h>
#include <Kestrel/Reflection/ReflectionManager.h>
#include <Kestrel/Root/Errors/Exceptions.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

using IO::Name;
using IO::Reflectable;
using Entry = Reflectable::Entry;
using Ids = std::vector<int>;
using Tests::Texts;
using Tests::ToTexts;

struct Lists {
    Texts folders;
    Texts files;
    bool operator==(Lists const &) const = default;
};

enum class Kind { Root, Static, Collector, Group };

struct Plan {
    Kind kind;
    std::string name;
    Texts columns;
    Ids children;
    int from = 0;
    int target = 0;
};

// What the hooks list: something else for other arguments, so that a wrong stack shows.
unsigned int Mix(Ids const & entries, Texts const & names) {
    unsigned int mixed = 7;
    for (int entry : entries)
        mixed = mixed * 31 + static_cast<unsigned int>(entry);
    for (std::string const & name : names)
        for (char c : name + "/")
            mixed = mixed * 31 + static_cast<unsigned char>(c);
    return mixed;
}

Lists ListGroup(int group, Ids const & entries, Texts const & names) {
    Lists lists;
    if (names.size() >= 3 || entries.size() > 40)
        return lists;
    unsigned int const mixed = Mix(entries, names) + static_cast<unsigned int>(group);
    for (unsigned int i = 0; i < mixed % 3; ++i)
        lists.folders.push_back("d" + std::to_string(mixed % 5 + i));
    for (unsigned int i = 0; i < mixed / 3 % 3; ++i)
        lists.files.push_back("f" + std::to_string(mixed % 7 + i));
    return lists;
}

Texts ListValues(int group, std::string const & name, Ids const & entries, Texts const & names) {
    Texts all(names);
    all.push_back(name);
    unsigned int const mixed = Mix(entries, all) + static_cast<unsigned int>(group);
    return Texts(mixed % 4, std::to_string(mixed));
}

using Plans = std::vector<Plan>;

// A group that leads back to itself has no other children, or a search below it would not end.
Plan & PickParent(Plans & plans, unsigned int drawn) {
    Ids const & children = plans[drawn].children;
    bool const isLoop = !children.empty() && children[0] == static_cast<int>(drawn);
    return plans[isLoop ? 0 : drawn];
}

Plans DrawPlans(std::mt19937 & random) {
    Plans plans{{Kind::Root, "", {}, {}}};
    int const count = static_cast<int>(random() % 9) + 2;
    for (int i = 1; i < count; ++i) {
        unsigned int const drawn = random() % 6;
        Plan plan{drawn < 3   ? Kind::Static
                  : drawn < 5 ? Kind::Group
                              : Kind::Collector,
                  "s" + std::to_string(i),
                  Texts(random() % 3, "column" + std::to_string(i)),
                  {}};
        for (std::string & column : plan.columns)
            column += std::string(random() % 3, '+');
        // Entries of lower numbers are above, so that only groups lead back to themselves.
        plan.from = static_cast<int>(random() % count);
        plan.target = plan.from + static_cast<int>(random() % (count - plan.from));
        if (plan.kind == Kind::Group && random() % 3 == 0)
            plan.children.push_back(i);
        plans.push_back(plan);
        for (unsigned int parents = random() % 2 + 1; parents > 0; --parents)
            PickParent(plans, random() % i).children.push_back(i);
    }
    for (Plan & plan : plans) // a collector is made when all others are
        for (int * end : {&plan.from, &plan.target})
            while (plans[*end].kind == Kind::Collector)
                --*end;
    return plans;
}

// A class as hosts write them.
class Tree : public Reflectable {
public:
    explicit Tree(Plans const & plans) {
        for (Plan const & plan : plans) {
            made.push_back(Make(plan));
            for (std::string const & column : plan.columns)
                AddAttribute(made.back(), column.c_str(), Attribute::String);
        }
        for (std::size_t i = 0; i < plans.size(); ++i)
            if (plans[i].kind == Kind::Collector)
                Collect(i, plans[i]);
        for (std::size_t i = 0; i < plans.size(); ++i)
            for (int child : plans[i].children)
                Connect(made[i], made[static_cast<std::size_t>(child)]);
    }

    bool GetEntries(CustomEntryGroup const * group, Mu::Array<Entry const *> const & entries,
                    Mu::Array<IO::Name> const & names, Mu::Array<IO::Name> * folders,
                    Mu::Array<IO::Name> * files) const override {
        Lists const lists = ListGroup(GetId(group), GetIds(entries), ToTexts(names));
        for (std::string const & name : lists.folders)
            folders->Push(U(name));
        for (std::string const & name : lists.files)
            files->Push(U(name));
        return false; // which nobody looks at
    }

    bool GetEntryAttributeValues(CustomEntryGroup const * group, IO::Name const & name,
                                 Mu::Array<Entry const *> const & entries,
                                 Mu::Array<IO::Name> const & names,
                                 Mu::Array<AttributeValue> * values) const override {
        for (std::string const & value :
             ListValues(GetId(group), ToUtf8(name), GetIds(entries), ToTexts(names)))
            values->Push(U(value));
        return false;
    }

private:
    Entry * Make(Plan const & plan) {
        switch (plan.kind) {
        case Kind::Root: return CreateRootEntry();
        case Kind::Group: return CreateCustomEntryGroup();
        default: return CreateStaticEntry(U(plan.name));
        }
    }

    // Takes the place of the fixed entry that stood in for it: a collector knows others by pointer.
    void Collect(std::size_t i, Plan const & plan) {
        Entry * const collector =
            CreateCollectorEntry(U(plan.name), made[static_cast<std::size_t>(plan.from)],
                                 made[static_cast<std::size_t>(plan.target)]);
        CopyAttributes(collector, made[i]);
        made[i] = collector;
    }

    int GetId(Entry const * entry) const {
        return static_cast<int>(std::find(made.begin(), made.end(), entry) - made.begin());
    }
    Ids GetIds(Mu::Array<Entry const *> const & entries) const {
        Ids ids;
        for (Entry const * entry : entries)
            ids.push_back(GetId(entry));
        return ids;
    }

    std::vector<Entry *> made;
};

// The rules once more.
class Model {
public:
    explicit Model(Plans const & plans) : plans(plans) {}

    std::optional<Lists> GetChildren(Texts const & location) const {
        std::optional<Way> const way = Follow(location, true);
        return way ? std::optional(List(*way)) : std::nullopt;
    }

    std::optional<Texts> GetColumns(Texts const & location) const {
        std::optional<Way> const way = Follow(location);
        if (!way)
            return std::nullopt;
        Plan const & plan = plans[way->entries.back()];
        if (!plan.children.empty())
            return plans[plan.children.front()].columns;
        return plan.kind == Kind::Collector ? plans[plan.target].columns : Texts();
    }

    std::optional<Texts> GetValues(Texts const & location) const {
        std::optional<Way> way = Follow(location);
        if (!way)
            return std::nullopt;
        if (plans[way->entries.back()].kind != Kind::Group)
            return Texts();
        Texts const names(way->names.rbegin() + 1, way->names.rend());
        return ListValues(way->entries.back(), way->names.back(), Back(way->entries), names);
    }

    std::optional<std::string> GetContent(Texts location) const {
        if (location.empty())
            return "";
        Texts const full = location;
        location.pop_back();
        std::optional<Texts> const columns = GetColumns(location);
        if (!columns)
            return std::nullopt;
        std::optional<Texts> const values = columns->empty() ? Texts() : GetValues(full);
        if (!values)
            return std::nullopt;
        std::string content;
        std::size_t width = 0;
        for (std::string const & column : *columns)
            width = std::max(width, column.size());
        for (std::size_t i = 0; i < std::min(values->size(), columns->size()); ++i)
            content += (*columns)[i] + ":" + std::string(width + 1 - (*columns)[i].size(), ' ') +
                       (*values)[i] + "\r\n";
        return content;
    }

private:
    struct Way {
        Ids entries{0};
        Texts names;
    };

    static bool Has(Texts const & names, std::string const & name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    }
    template <typename List>
    static List Back(List const & list) {
        return List(list.rbegin(), list.rend());
    }

    int Find(int entry, std::string const & name) const {
        if (plans[entry].kind == Kind::Collector)
            return plans[entry].target;
        for (int child : plans[entry].children)
            if (plans[child].kind == Kind::Group || plans[child].name == name)
                return child;
        return -1;
    }

    std::optional<Way> Follow(Texts const & location, bool looksUp = false) const {
        Way way;
        for (std::string const & name : location) {
            int const child = Find(way.entries.back(), name);
            bool const isGroup = child >= 0 && plans[child].kind == Kind::Group;
            Lists const listed = isGroup && looksUp ? List(way) : Lists{{name}, {}};
            if (child < 0 || (!Has(listed.folders, name) && !Has(listed.files, name)))
                return std::nullopt;
            way.entries.push_back(child);
            if (isGroup)
                way.names.push_back(name);
        }
        return way;
    }

    bool IsGroupAlone(int entry) const {
        return plans[entry].children.size() == 1 &&
               plans[plans[entry].children[0]].kind == Kind::Group;
    }

    Lists List(Way const & way) const {
        Plan const & plan = plans[way.entries.back()];
        Lists lists;
        if (plan.kind == Kind::Collector) {
            Ids entries = Back(way.entries);
            Collect(plan.from, plan.target, entries, Back(way.names), lists);
        } else if (IsGroupAlone(way.entries.back())) {
            lists = ListGroup(plan.children[0], Back(way.entries), Back(way.names));
        } else {
            for (int child : plan.children)
                lists.folders.push_back(plans[child].kind == Kind::Group ? "" : plans[child].name);
        }
        return lists;
    }

    void Collect(int from, int to, Ids & entries, Texts names, Lists & lists) const {
        if (from == to) {
            if (!names.empty())
                (plans[from].children.empty() ? lists.files : lists.folders).push_back(names[0]);
            return;
        }
        entries.insert(entries.begin(), from);
        if (!IsGroupAlone(from)) {
            for (int child : plans[from].children)
                Collect(child, to, entries, names, lists);
            return;
        }
        int const group = plans[from].children[0];
        Lists const listed = ListGroup(group, entries, names);
        Texts all(listed.folders);
        all.insert(all.end(), listed.files.begin(), listed.files.end());
        for (std::string const & name : all) {
            Texts deeper(names);
            deeper.insert(deeper.begin(), name);
            Collect(group, to, entries, deeper, lists);
        }
    }

    Plans const & plans;
};

// A way down that is there for the most part.
Texts DrawLocation(Model const & model, Plans const & plans, std::mt19937 & random) {
    Texts location;
    for (unsigned int steps = random() % 6; steps > 0; --steps) {
        std::optional<Lists> const lists = model.GetChildren(location);
        Texts names = lists ? lists->folders : Texts();
        if (lists)
            names.insert(names.end(), lists->files.begin(), lists->files.end());
        names.push_back("d" + std::to_string(random() % 9));
        names.push_back(plans[random() % plans.size()].name);
        std::erase(names, "");
        location.push_back(names[random() % names.size()]);
    }
    return location;
}

IO::RelativeLocation ToLocation(Texts const & names) {
    IO::RelativeLocation location;
    for (std::string const & name : names)
        if (location.Append(U(name)) != IO::NoError)
            throw Mu::OutOfMemoryException();
    return location;
}

template <typename Found, typename Told>
void ExpectSame(bool isThere, Found const & found, std::optional<Told> const & told) {
    ASSERT_EQ(isThere, told.has_value());
    ASSERT_TRUE(!isThere || found == *told);
}

void ExpectAsTold(Tree const & tree, Model const & model, Texts const & names) {
    IO::RelativeLocation const location = ToLocation(names);
    SCOPED_TRACE(::testing::PrintToString(names));
    Mu::Array<IO::Name> folders{IO::Name("old")};
    Mu::Array<IO::Name> files{IO::Name("old")};
    bool isThere = tree.GetChildren(location, &folders, &files);
    ExpectSame(isThere, Lists{ToTexts(folders), ToTexts(files)}, model.GetChildren(names));

    Mu::Array<Reflectable::Attribute> attributes{Reflectable::Attribute()};
    isThere = tree.GetAttributes(location, &attributes);
    ExpectSame(isThere, ToTexts(attributes), model.GetColumns(names));

    Mu::Array<Reflectable::AttributeValue> values{Reflectable::AttributeValue(1)};
    isThere = tree.GetAttributeValues(location, &values);
    ExpectSame(isThere, ToTexts(values), model.GetValues(names));
    if (!names.empty()) {
        Texts folder{"model"};
        folder.insert(folder.end(), names.begin(), names.end() - 1);
        IO::ReflectableUse const use(ToLocation(folder));
        ASSERT_TRUE(use.WalksTree());
        IO::ValuesBelow things(use);
        for (std::string const & name : {names.back(), std::string("d1"), names.back()})
            isThere = things.Get(U(name), &values);
        ExpectSame(isThere, ToTexts(values), model.GetValues(names));
        // Of these a location keeps a part alone.
        for (Name const & name : {Name(":d1"), Name(std::u16string_view(u"d1\0x", 4)), Name()}) {
            IO::RelativeLocation const thing(use.GetRest(), name);
            Mu::Array<Reflectable::AttributeValue> direct;
            isThere = !thing.IsEmpty() && tree.GetAttributeValues(thing, &direct);
            ASSERT_EQ(things.Get(name, &values), isThere);
            ASSERT_EQ(ToTexts(values), ToTexts(direct));
        }
    }

    Tests::ByteOChannel channel;
    isThere = tree.GetContent(location, channel);
    ExpectSame(isThere, channel.GetBytes(), model.GetContent(names));
}

TEST(ReflectableModel, FindsWhatTheRulesFind) {
    for (unsigned int seed = 1; seed <= 200 && !::testing::Test::HasFatalFailure(); ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Plans const plans = DrawPlans(random);
        Tree tree(plans);
        Model const model(plans);
        ASSERT_TRUE(IO::ReflectionManager::Register(IO::RelativeLocation("model"), &tree, true));
        for (int i = 0; i < 12 && !::testing::Test::HasFatalFailure(); ++i)
            ExpectAsTold(tree, model, DrawLocation(model, plans, random));
        IO::ReflectionManager::Unregister(&tree);
    }
}

} // namespace
