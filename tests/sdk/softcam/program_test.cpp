// The program softcam as a user starts and stops it.
#include <gtest/gtest.h>

#ifndef _WIN32

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/sdk/virtualdevice/host_socket.h"

namespace {

/// A started program whose output is read here.
class Program {
public:
    explicit Program(std::vector<std::string> arguments)
    {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe(ends.data()), 0);
        arguments.insert(arguments.begin(), SOFTCAM_PROGRAM);
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        child_ = fork();
        if (child_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            close(ends[0]);
            close(ends[1]);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(ends[1]);
        output_ = fdopen(ends[0], "r");
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program()
    {
        if (child_ > 0) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
        fclose(output_);
    }

    std::string line()
    {
        std::array<char, 512> text{};
        return fgets(text.data(), text.size(), output_) != nullptr ? text.data() : "";
    }

    void signal(int number) const { kill(child_, number); }

    /// The exit code; -1 when it did not exit by itself.
    int wait()
    {
        int state = 0;
        waitpid(child_, &state, 0);
        child_ = -1;
        return WIFEXITED(state) ? WEXITSTATUS(state) : -1;
    }

private:
    pid_t child_ = -1;
    FILE* output_ = nullptr;
};

}  // namespace

TEST(SoftcamProgram, SaysWhereItListensAndEndsCleanlyWithinASecond)
{
    for (const int number : {SIGINT, SIGTERM}) {
        Program program({"--address", "127.0.0.29", "--serial", "P-1", "--name", "bench"});
        EXPECT_EQ(program.line(), "softcam: listening on 127.0.0.29 (serial P-1, MAC 02:56:7f:00:00:1d)\n");
        HostSocket host;
        host.send("127.0.0.29", {0x42, 0x01, 0, 2, 0, 0, 0, 1});
        const auto answer = host.receive();
        ASSERT_TRUE(answer);
        EXPECT_EQ(std::string(answer->bytes.begin() + 8 + 232, answer->bytes.begin() + 8 + 237), "bench");
        const auto begin = std::chrono::steady_clock::now();
        program.signal(number);
        // and further commands, when another program searches for cameras meanwhile
        const std::string last = program.line();
        int commands = 0;
        EXPECT_EQ(std::sscanf(last.c_str(), "softcam: stopped after 0 blocks, %d commands", &commands), 1) << last;
        EXPECT_GE(commands, 1);
        EXPECT_EQ(program.wait(), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    }
}

TEST(SoftcamProgram, PrintsTheSeedOfTheStreamsFaults)
{
    for (const char* fault : {"--drop", "--drop-bursts", "--drop-again", "--double", "--reorder", "--delay",
                              "--corrupt", "--truncate-leaders", "--drop-trailers", "--shorten", "--resize"}) {
        Program program({"--address", "127.0.0.29", fault, "5", "--seed", "1234"});
        EXPECT_EQ(program.line(), "softcam: faults on the stream, seed 1234\n") << fault;
    }
    Program without({"--address", "127.0.0.29", "--burst", "5", "--delay-time", "5", "--reorder-distance", "5"});
    EXPECT_EQ(without.line().find("seed"), std::string::npos);
}

TEST(SoftcamProgram, PrintsTheSeedOfItsFaultsChosenOrNot)
{
    Program told({"--address", "127.0.0.29", "--lose-acks", "5", "--seed", "99"});
    EXPECT_EQ(told.line(), "softcam: faults on the control channel, seed 99\n");
    Program chosen({"--address", "127.0.0.30", "--double-acks", "1000"});
    unsigned long long seed = 0;
    const std::string line = chosen.line();
    EXPECT_EQ(std::sscanf(line.c_str(), "softcam: faults on the control channel, seed %llu\n", &seed), 1) << line;
    EXPECT_NE(seed, 0U);
    EXPECT_NE(chosen.line(), "");
    HostSocket host;
    host.send("127.0.0.30", {0x42, 0x01, 0, 2, 0, 0, 0, 1});
    EXPECT_TRUE(host.receive());
    EXPECT_TRUE(host.receive());
}

TEST(SoftcamProgram, FallsSilentAndRestartsWhenTheScheduleSaysSo)
{
    Program program({"--address", "127.0.0.29", "--serial", "P-1", "--silent-after", "0", "--reboot-after", "20",
                     "--reboot-silence", "0", "--reboot-address", "127.0.0.30"});
    EXPECT_NE(program.line(), "");
    EXPECT_EQ(program.line(), "softcam: restarted on 127.0.0.30 (serial P-1, MAC 02:56:7f:00:00:1d)\n");
    HostSocket host;
    host.send("127.0.0.30", {0x42, 0x01, 0, 2, 0, 0, 0, 1});
    EXPECT_FALSE(host.receive(std::chrono::milliseconds(100))) << "not silent";
}

TEST(SoftcamProgram, RefusesWhatItCannotDo)
{
    Program unknown({"--address", "no-such-interface"});
    EXPECT_EQ(unknown.line(), "softcam: no network interface has the name or address \"no-such-interface\"\n");
    EXPECT_EQ(unknown.wait(), 1);
    Program nonsense({"--drop", "1001"});
    EXPECT_NE(nonsense.line(), "");
    EXPECT_NE(nonsense.wait(), 0);
}

#endif
