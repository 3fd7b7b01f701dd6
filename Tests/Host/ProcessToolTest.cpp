// Processes that talk, as a user meets them: the example that serves, one that asks it, and the tool.

#include "Tests/Host/RunTool.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using Tests::RunTool;
using Tests::ToolRun;

namespace {

/// The calculator, in a process beside this one until it is told to end.
class Serving {
public:
    Serving() : process([] { exitCode = Tests::RunProgram("./" KESTREL_CALCULATOR, {"serve"}); }) {
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (RunTool({"services"}).out.find("Calculator") == std::string::npos &&
               std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
    }
    ~Serving() {
        EXPECT_EQ(RunTool({"end"}, KESTREL_CALCULATOR).exitCode, 0);
        process.join();
        EXPECT_EQ(exitCode, 0);
    }

private:
    static inline int exitCode = -1;
    std::thread process;
};

std::string Out(std::vector<std::string> const & arguments,
                std::string const & program = KESTREL_TOOL) {
    ToolRun run = RunTool(arguments, program);
    EXPECT_EQ(run.exitCode, 0) << run.error;
    std::erase(run.out, '\r');
    return run.out;
}

} // namespace

TEST(ProcessTool, FindsAndAsksAServiceByName) {
    {
        Serving const serving;
        EXPECT_EQ(Out({"statistics", "1", "3"}, KESTREL_CALCULATOR),
                  "count 2\nsmallest 1\nlargest 3\nmean 2\ndeviation 1\n");
        std::string const services = Out({"services", "--json"});
        EXPECT_NE(services.find("\"service\": \"Calculator\""), std::string::npos) << services;
        EXPECT_NE(Out({"ps", "--all"}).find("calculator"), std::string::npos);
        std::vector<std::string> ask{"call", "calculator/Calculator", "Sum", "doubles:1,2"};
        EXPECT_EQ(Out({ask[0], ask[1], ask[2], ask[3], "--as", "double"}), "3.0\n");
        EXPECT_EQ(Out({ask[0], ask[1], ask[2], ask[3], "-j"}),
                  "{\n  \"bytes\": 8,\n  \"hex\": \"0000000000000840\",\n  \"fields\": null\n}\n");
        EXPECT_EQ(RunTool({ask[0], ask[1], ask[2], ask[3], "--as", "double,int"}).exitCode, 1);
    }
    EXPECT_EQ(Out({"services"}).find("Calculator"), std::string::npos); // others may run
    EXPECT_EQ(RunTool({"sum", "1"}, KESTREL_CALCULATOR).exitCode, 1);
    for (char const * const wrong : {"int:99999999999", "hex:1"})
        EXPECT_EQ(RunTool({"call", "localhost:1/x", "y", wrong}).exitCode, 1);
    EXPECT_EQ(RunTool({"apps", "launch", "none of this name"}).exitCode, 1);
}
