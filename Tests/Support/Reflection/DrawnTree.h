#pragma once

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/ReflectionDialogue.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Reflection/ReflectionManager.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Socket/ServerSocket.h>
#include <Kestrel/Socket/Socket.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace Tests {

/// One thing of a tree: where, whether it goes on below, and its content; a table is the content of
/// its folder in a form that does not depend on the order.
struct Thing {
    std::vector<std::u16string> path;
    bool isFolder;
    std::string content;
    auto operator<=>(Thing const &) const = default;
};
using Things = std::multiset<Thing>;

/// Part of a name, of ASCII, so that every machine's code has it; more often such as needs care.
inline std::u16string DrawPiece(std::mt19937 & random) {
    static constexpr char16_t const * pieces[] = {u"a",
                                                  u"A",
                                                  u"b",
                                                  u"..",
                                                  u".",
                                                  u" ",
                                                  u"%",
                                                  u"%41",
                                                  u"con",
                                                  u"nul.",
                                                  u"attributes.tsv",
                                                  u"<script>",
                                                  u"\x1b[31m",
                                                  u"C:\\",
                                                  u"/",
                                                  u"LPT1",
                                                  u"\r\n",
                                                  u"\t",
                                                  u"rel:"};
    if (random() % 3 == 0)
        return std::u16string(1, static_cast<char16_t>(1 + random() % 127));
    return pieces[random() % std::size(pieces)];
}

/// The lines of a table behind its head, sorted.
inline std::string NormaliseTable(std::string const & table) {
    std::set<std::string> lines;
    for (std::size_t at = 0; at < table.size();) {
        std::size_t const end = std::min(table.find('\n', at), table.size());
        lines.insert(table.substr(at, end - at));
        at = end + 1;
    }
    std::string text;
    for (std::string const & line : lines)
        text += line + "\n";
    return text;
}

/// A tree drawn by a seed, which stands under "drawn" as long as it lives. Names of a level are
/// different, but a folder and another thing may have the same.
class DrawnTree : public IO::Reflectable {
public:
    using Reflectable::ToName;

    /// With a count it is one level of numbers, each behind the stem.
    explicit DrawnTree(unsigned int seed, unsigned int count = 0, std::u16string const & stem = u"")
        : random(seed) {
        folders[{}].hasAttributes = true;
        for (unsigned int i = 0; i < count; ++i)
            folders[{}].things.push_back(stem + U16(ToName(i)));
        if (count == 0)
            Draw({}, 0);
        IO::ReflectionManager::Register(IO::RelativeLocation("drawn"), this, false);
        if (count == 0)
            Describe();
    }
    ~DrawnTree() override { IO::ReflectionManager::Unregister(this); }

    Things const & GetThings() const { return expected; }
    std::size_t CountFolders() const { return folders.size() + 1; }

    bool GetChildren(IO::RelativeLocation const & place, Mu::Array<IO::Name> * below,
                     Mu::Array<IO::Name> * files) const override {
        auto const found = folders.find(ToPath(place));
        if (found == folders.end())
            return false;
        for (std::u16string const & name : found->second.folders)
            below->Push(IO::Name(name));
        for (std::u16string const & name : found->second.things)
            files->Push(IO::Name(name));
        return true;
    }
    bool GetAttributes(IO::RelativeLocation const & place,
                       Mu::Array<Attribute> * attributes) const override {
        auto const found = folders.find(ToPath(place));
        if (found == folders.end() || !found->second.hasAttributes)
            return false;
        attributes->Emplace("a\tb", Attribute::UnsignedInteger);
        attributes->Emplace("text", Attribute::String);
        return true;
    }
    bool GetAttributeValues(IO::RelativeLocation const & place,
                            Mu::Array<AttributeValue> * values) const override {
        values->Push(ToNumber(ToPath(place)));
        values->Push("\\\r\n\x1b]0;");
        return true;
    }
    bool GetContent(IO::RelativeLocation const & place, Mu::OChannel & channel) const override {
        channel << ToContent(ToPath(place)).c_str();
        return true;
    }

private:
    using Path = std::vector<std::u16string>;
    struct Level {
        std::vector<std::u16string> folders;
        std::vector<std::u16string> things;
        bool hasAttributes = false;
    };

    static std::u16string U16(IO::Name const & name) {
        return std::u16string(std::u16string_view(name.ToString()));
    }
    static Path ToPath(IO::RelativeLocation const & place) {
        Path path;
        for (unsigned int i = 0; i < place.GetLength(); ++i)
            path.push_back(U16(GetName(place, i)));
        return path;
    }
    static unsigned int ToNumber(Path const & path) {
        unsigned int number = 17;
        for (std::u16string const & name : path)
            for (char16_t const unit : name)
                number = number * 31 + unit;
        return number;
    }
    static std::string ToContent(Path const & path) {
        return "number: " + std::to_string(ToNumber(path)) + "\r\n";
    }
    std::u16string DrawName(Path const & path) {
        std::u16string name = DrawPiece(random);
        while (random() % 2 == 0 && name.size() < 6)
            name += DrawPiece(random);
        Level const & level = folders[path];
        bool const isTaken = std::count(level.folders.begin(), level.folders.end(), name) +
                                 std::count(level.things.begin(), level.things.end(), name) !=
                             0;
        return isTaken ? DrawName(path) : name;
    }
    void Draw(Path const & path, unsigned int depth) {
        folders[path].hasAttributes |= random() % 2 == 0;
        for (unsigned int i = random() % 6; i > 0; --i)
            folders[path].things.push_back(DrawName(path));
        for (unsigned int i = depth < 3 ? 1 + random() % 3 : 0; i > 0; --i) {
            std::u16string const name = DrawName(path);
            folders[path].folders.push_back(name);
            if (random() % 4 == 0)
                folders[path].things.push_back(name);
            Path below(path);
            below.push_back(name);
            Draw(below, depth + 1);
        }
    }
    void Describe() {
        auto const full = [](Path path) {
            path.insert(path.begin(), u"drawn");
            return path;
        };
        expected.insert({full({}), true, ""});
        for (auto const & [path, level] : folders) {
            std::string table = "name\ta\\tb\ttext\n";
            auto const add = [&, folder = path](std::u16string const & name, bool isFolder) {
                Path child(folder);
                child.push_back(name);
                expected.insert({full(child), isFolder, isFolder ? "" : ToContent(child)});
                std::string cell;
                for (char16_t const unit : name) {
                    static constexpr char digits[] = "0123456789ABCDEF";
                    bool const isPlain = unit >= 32 && unit != 127 && unit != '\\';
                    cell += isPlain        ? std::string(1, static_cast<char>(unit))
                            : unit == '\t' ? "\\t"
                            : unit == '\n' ? "\\n"
                            : unit == '\r' ? "\\r"
                            : unit == '\\'
                                ? "\\\\"
                                : std::string("\\u00") + digits[unit >> 4] + digits[unit & 15];
                }
                table += cell + "\t" + std::to_string(ToNumber(child)) + "\t\\\\\\r\\n\\u001B]0;\n";
            };
            for (std::u16string const & name : level.folders)
                add(name, true);
            for (std::u16string const & name : level.things)
                add(name, false);
            if (level.hasAttributes && !(level.folders.empty() && level.things.empty()))
                expected.insert({full(path), false, NormaliseTable(table)});
        }
    }

    std::mt19937 random;
    std::map<Path, Level> folders;
    Things expected;
};

/// Answers inspectors, one after the other, on a thread of its own; or does harm to the answers.
class LinkServer {
public:
    struct Harm {
        unsigned int bytes = ~0u; ///< behind which the connection ends
        bool again = false;       ///< each time that so many were written, instead of once
        bool stalls = false;      ///< nothing comes any more, instead of the end
    };

    LinkServer() : server(0, 8, IO::Socket::InternetAddress::Loopback), thread([this] { Run(); }) {}
    ~LinkServer() {
        isEnding = true;
        {
            std::lock_guard const guard(mutex);
            if (current != nullptr)
                current->Close();
        }
        thread.join();
    }

    unsigned short GetPort() const { return server.GetLocalPort(); }
    std::size_t CountConnections() const { return connections; }
    std::size_t CountQuestions() const { return questions; }
    void SetHarm(Harm const & now) {
        std::lock_guard const guard(mutex);
        harm = now;
        left = now.bytes;
        stalls = now.stalls;
    }

private:
    struct Answers : Mu::OBinaryChannel {
        LinkServer & server;
        Mu::OBinaryChannel & output;
        Answers(LinkServer & server, Mu::OBinaryChannel & output)
            : server(server), output(output) {}
        void Write(char const * source, unsigned int size) override {
            // Counted before they are answered, so that who has the answer finds it counted.
            ++server.questions;
            unsigned int const part = server.Allow(size);
            output.Write(source, part);
            output.Flush();
            if (part < size && !server.stalls)
                throw Mu::IOException("the end of the link");
        }
        void Flush() override {}
        void Close() override {}
    };

    void Run() {
        while (!isEnding) {
            Mu::Ref<IO::Socket::Socket, Mu::AtomicCounter> socket;
            try {
                socket = server.Accept(20);
                if (!socket)
                    continue;
                ++connections;
                Begin(socket.Get());
                Serve(*socket);
            } catch (Mu::UniString const &) {
            } catch (std::exception const &) {
            }
            std::lock_guard const guard(mutex);
            current = nullptr;
        }
    }
    void Begin(IO::Socket::Socket * socket) {
        std::lock_guard const guard(mutex);
        left = left != 0 ? left : harm.again ? harm.bytes : ~0u;
        current = socket;
        if (isEnding)
            socket->Close();
    }
    unsigned int Allow(unsigned int size) {
        std::lock_guard const guard(mutex);
        size = std::min(size, left);
        left -= size;
        return size;
    }
    void Serve(IO::Socket::Socket & socket) {
        socket.SetTCPNoDelay(true);
        Mu::UniString const ident("drawn");
        Answers answers(*this, socket.GetOutputChannel());
        IO::ReflectionDialogue dialogue(socket.GetInputChannel(), answers, ident, 1 << 24, 1 << 28);
        while (dialogue.ServeRequest()) {
        }
    }

    IO::Socket::ServerSocket server;
    std::atomic<std::size_t> connections = 0;
    std::atomic<std::size_t> questions = 0;
    std::atomic<bool> isEnding = false;
    std::atomic<bool> stalls = false;
    std::mutex mutex; // on what follows
    IO::Socket::Socket * current = nullptr;
    Harm harm;
    unsigned int left = ~0u;
    std::thread thread;
};

} // namespace Tests
