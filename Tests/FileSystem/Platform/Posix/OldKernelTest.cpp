// Kernels and file systems that lack what Linux has by now.

#include "Tests/Support/OwnProcess.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

namespace {

constexpr char const * Variable = "KESTREL_TEST_OLD_KERNEL";

// From the start of the process on, as every thread inherits it and nothing takes it away again.
[[maybe_unused]] bool const isOld = [] {
    if (std::getenv(Variable) == nullptr)
        return false;
    sock_filter code[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_copy_file_range, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
    };
    sock_fprog const program{sizeof code / sizeof *code, code};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0 ||
        ::syscall(SYS_renameat2, 0, nullptr, 0, nullptr, 0) != -1 || errno != ENOSYS)
        Tests::EndProcess(3);
    return true;
}();

} // namespace

TEST(OldKernel, CopiesMovesAndReplacesAllTheSame) {
    Tests::SetVariable(Variable, "1");
    EXPECT_EQ(Tests::RunAgain({"--gtest_brief=1", "--gtest_output=",
                               "--gtest_filter=Folder.*:WinFolderEntry.*:"
                               "PosixFileCalls.*:FileCopy.*:ReplacingFile.*:FileCalls*"}),
              0);
    ::unsetenv(Variable);
}
