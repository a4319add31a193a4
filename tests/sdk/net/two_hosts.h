// Two hosts with a cable between them, as network namespaces of this process. Linux, with the privilege.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

/// Makes the namespaces, and a pair of virtual Ethernet interfaces "cable" between them with the addresses 10.9.0.1
/// (here) and 10.9.0.2 (there). The calling thread is put into the host that is asked for, and back into its own
/// network at the end.
class TwoHosts {
public:
    TwoHosts()
    {
        own_ = network_of_this_thread();
        if (own_ < 0 || ::unshare(CLONE_NEWNET) != 0) {
            return;
        }
        there_ = network_of_this_thread();
        // a process that stands there gives the other network a name for the tools
        const pid_t keeper = ::fork();
        if (keeper == 0) {
            ::pause();
            std::_Exit(0);
        }
        if (keeper > 0 && ::unshare(CLONE_NEWNET) == 0) {
            here_ = network_of_this_thread();
            const std::string peer = std::to_string(keeper);
            ready_ = run("ip link set lo up") && run("ip link add cable type veth peer name cable netns " + peer) &&
                     set_up("10.9.0.1") && enter(there_) && run("ip link set lo up") && set_up("10.9.0.2") &&
                     enter(here_);
        }
        if (keeper > 0) {
            ::kill(keeper, SIGKILL);
            ::waitpid(keeper, nullptr, 0);
        }
    }

    ~TwoHosts()
    {
        enter(own_);
        for (const int network : {own_, here_, there_}) {
            if (network >= 0) {
                ::close(network);
            }
        }
    }

    TwoHosts(const TwoHosts&) = delete;
    TwoHosts& operator=(const TwoHosts&) = delete;

    /// False where this process may not do any of it.
    [[nodiscard]] bool ready() const { return ready_; }

    bool go_here() { return enter(here_); }
    bool go_there() { return enter(there_); }

    /// Makes the virtual network 5 over the cable, on the host that the thread is in; false where the system has none.
    static bool add_virtual_network(const std::string& address)
    {
        return run("ip link add link cable name cable5 type vlan id 5") &&
               run("ip address add " + address + "/24 dev cable5") && run("ip link set cable5 up");
    }

    static bool run(const std::string& command) { return std::system((command + " 2>/dev/null").c_str()) == 0; }

private:
    static int network_of_this_thread() { return ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC); }
    static bool enter(int network) { return network >= 0 && ::setns(network, CLONE_NEWNET) == 0; }
    static bool set_up(const std::string& address)
    {
        return run("ip address add " + address + "/24 dev cable") && run("ip link set cable up");
    }

    int own_ = -1;
    int here_ = -1;
    int there_ = -1;
    bool ready_ = false;
};
