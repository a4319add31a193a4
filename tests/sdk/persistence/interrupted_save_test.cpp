// A save that the process or the disk does not survive: the older file or the new one is there, whole.
#include <csignal>
#include <cstddef>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "tests/sdk/persistence/configuration_files.h"

namespace {

using namespace configuration_test;

class InterruptedSave : public Files {
protected:
    InterruptedSave()
    {
        EXPECT_TRUE(writer.Store(PvString("old"), PvString("n")).IsOK());
        EXPECT_TRUE(writer.Save(name()).IsOK());
        old_text = get();
        EXPECT_TRUE(writer.Store(PvString("new"), PvString("n")).IsOK());
    }

    /// Saves in a child of this process that was prepared so that it may not survive; its wait status.
    int save_in_child(const std::function<void()>& prepare)
    {
        const pid_t child = fork();
        if (child == 0) {
            prepare();
            _exit(writer.Save(name()).IsOK() ? 0 : 1);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return status;
    }

    /// What is left beside the file by a process that was killed.
    void remove_remains()
    {
        for (const auto& entry : fs::directory_iterator(folder)) {
            if (entry.path().filename() != "file.xml") {
                fs::remove(entry.path());
            }
        }
    }

    std::string old_text;
};

void limit_file_size(std::size_t bytes, bool survive)
{
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    std::signal(SIGXFSZ, survive ? SIG_IGN : SIG_DFL);
    const rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

/// The kernel ends the process in place of the system call.
void die_at(long call)
{
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{static_cast<unsigned short>(std::size(steps)), steps};
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        _exit(2);
    }
}

TEST_F(InterruptedSave, KeepsTheOldFileWhenTheProcessDiesAtAnyByte)
{
    for (std::size_t bytes = 0; bytes < old_text.size(); ++bytes) {
        const int status = save_in_child([&] { limit_file_size(bytes, false); });
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ) << bytes;
        ASSERT_EQ(get(), old_text) << bytes;
        remove_remains();
    }
}

TEST_F(InterruptedSave, KeepsTheOldFileWhenTheDiskIsFullAtAnyByte)
{
    for (std::size_t bytes = 0; bytes < old_text.size(); ++bytes) {
        const int status = save_in_child([&] { limit_file_size(bytes, true); });
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << bytes;
        ASSERT_EQ(get(), old_text) << bytes;
        ASSERT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1) << bytes;
    }
}

TEST_F(InterruptedSave, KeepsTheOldFileWhenTheProcessDiesAtAnyStep)
{
    std::vector<long> steps = {SYS_write, SYS_fsync};
#ifdef SYS_rename
    steps.push_back(SYS_rename);
#else
    steps.push_back(SYS_renameat2);
#endif
    for (const long step : steps) {
        const int status = save_in_child([&] { die_at(step); });
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) << step << " is not used";
        ASSERT_EQ(get(), old_text) << step;
        remove_remains();
    }
}

TEST_F(InterruptedSave, HasTheNewFileOnceTheNameIsGiven)
{
    const int status = save_in_child([] { die_at(SYS_exit_group); });
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_TRUE(reader.Load(name()).IsOK());
    PvString value;
    ASSERT_TRUE(reader.Restore(PvString("n"), value).IsOK());
    EXPECT_EQ(value, PvString("new"));
}

}  // namespace
