#include "sdk/base/debugger.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

TEST(Debugger, IsNotSeenWhereThereIsNone)
{
    if (vex::is_debugger_attached()) {
        GTEST_SKIP() << "this test is being debugged";
    }
#ifndef _WIN32
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::_exit(vex::is_debugger_attached() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
#endif
}

#ifndef _WIN32
TEST(Debugger, IsSeenWhileItIsAttached)
{
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // this test's process is its debugger from here on
        const bool traced = ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0;
        ::_exit(!traced ? 77 : vex::is_debugger_attached() ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    if (WEXITSTATUS(status) == 77) {
        GTEST_SKIP() << "nobody may be debugged here";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
}
#endif

}  // namespace
