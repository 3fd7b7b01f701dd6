// A host that is loaded and unloaded together with the library.

#include "Tests/Load/Plugin.h"

#include <Kestrel/Kestrel.h>

namespace {

// Some work for the library's threads, with a line in the log.
class Task final : public Mu::Runnable {
public:
    explicit Task(unsigned int cycle) : cycle(cycle) {}
    void Run() override {
        static Mu::InfoLogLine line("thread of cycle %", "plugin", nullptr);
        Mu::LogComposer composer;
        composer.Append(cycle);
        Mu::logger.Append(line, &composer);
    }

private:
    unsigned int cycle;
};

int UseFiles(IO::Location const & folder) {
    IO::Folder place(folder);
    if (place.GetStatus() != IO::NoError)
        return __LINE__;
    IO::File file(place, "plugin.bin", IO::File::OnNotFound::Create);
    if (file.Open(IO::File::OpenMode::WriteOnlyEmpty) != IO::NoError)
        return __LINE__;
    for (int i = 0; i < 10000; ++i)
        if (file.Write(i) != IO::NoError)
            return __LINE__;
    if (file.Close() != IO::NoError)
        return __LINE__;
    int last = 0;
    if (file.Open(IO::File::OpenMode::ReadOnly) != IO::NoError ||
        file.SetPosition(9999 * 4) != IO::NoError || file.Read(last) != IO::NoError || last != 9999)
        return __LINE__;
    file.Close();
    if (place.Delete("plugin.bin", IO::DataSafety::KeepProtected) != IO::NoError)
        return __LINE__;
    try {
        Mu::UniString text;
        text.SetLength(Mu::UniString::MaxLength + 1);
        return __LINE__;
    } catch (Mu::OutOfMemoryException const &) {
    }
    return IO::Name("a") == IO::Name("b") ? __LINE__ : 0;
}

int UseThreadsAndLog(IO::Location const & folder, unsigned int cycle) {
    IO::FileLogOutput log(folder, 64, 8, 1000);
    if (!log.HasFile())
        return __LINE__;
    Mu::logger.SetOutput(&log, &log);
    Mu::Thread joined(Mu::RunnableTask(new Task(cycle)), "joined");
    if (!joined.Start())
        return __LINE__;
    joined.Join(false);
    {
        Mu::Thread leftBehind(Mu::RunnableTask(new Task(cycle)), "left behind");
        if (!leftBehind.Start())
            return __LINE__;
        while (leftBehind.IsRunning())
            Mu::Thread::Sleep(0, false);
    }
    return Mu::logger.GetLostCount() == 0 ? 0 : __LINE__;
}

} // namespace

int UsePlugin(char const * folder, int pairs, unsigned int cycle) {
    for (int i = 0; i < pairs; ++i)
        if (IO::Init(false, "plugin") != IO::NoError)
            return __LINE__;
    IO::Location const place(Mu::UniString(folder, MuLogCharCode));
    int failure = UseFiles(place);
    if (failure == 0)
        failure = UseThreadsAndLog(place, cycle);
    for (int i = 0; i < pairs; ++i)
        IO::End();
    return failure;
}
