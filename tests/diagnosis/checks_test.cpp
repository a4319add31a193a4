#include "tools/diagnosis/checks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using namespace vex;
using namespace diagnosis;
using std::chrono::milliseconds;

namespace {

Adapter adapter(const std::string& name, const char* address, const char* mask = "255.255.255.0")
{
    Adapter one;
    one.facts.id = name;
    one.facts.address = *Ipv4Address::parse(address);
    one.facts.mask = *Ipv4Address::parse(mask);
    one.facts.mtu = 9000;
    one.facts.loopback = one.facts.address.is_loopback();
    one.speed = 1000;
    one.has_link = true;
    return one;
}

SystemState good_system()
{
    SystemState state;
    state.adapters = {adapter("lo", "127.0.0.1", "255.0.0.0"), adapter("eth0", "192.168.1.10"),
                      adapter("eth1", "192.168.2.10")};
    state.largest_receive_buffer = 64U << 20;
    state.processor_governors = {"performance"};
    state.firewalls = {{"ufw", false, ""}};
    return state;
}

const Finding* find(const Findings& findings, const std::string& check)
{
    const auto found = std::ranges::find(findings, check, &Finding::check);
    return found == findings.end() ? nullptr : &*found;
}

/// Of the check that is not good; fails where it is another.
Finding only_problem(const Findings& findings, const std::string& check)
{
    Finding problem;
    for (const Finding& finding : findings) {
        if (finding.verdict != Verdict::good) {
            EXPECT_EQ(finding.check, check) << finding.text;
            EXPECT_FALSE(finding.what_to_do.empty());
            problem = finding;
        }
    }
    EXPECT_FALSE(problem.check.empty()) << check << " was not found";
    return problem;
}

TEST(CheckSystem, FindsNothingWrongWithAGoodOne)
{
    const Findings findings = check_system(good_system(), std::nullopt);
    EXPECT_EQ(gravest(findings), Verdict::good);
    for (const char* check : {"interfaces", "subnets", "firewall", "receive_buffers", "processors"}) {
        EXPECT_NE(find(findings, check), nullptr) << check;
    }
}

TEST(CheckSystem, WantsAnInterfaceBesideLoopback)
{
    SystemState state = good_system();
    state.adapters.resize(1);
    EXPECT_EQ(only_problem(check_system(state, std::nullopt), "interfaces").verdict, Verdict::wrong);
    EXPECT_EQ(gravest(check_system(state, Ipv4Address::parse("127.0.0.2"))), Verdict::good)
        << "a camera of this computer needs no other";
}

TEST(CheckSystem, WantsAnInterfaceInTheCamerasSubnet)
{
    const Finding finding = only_problem(check_system(good_system(), Ipv4Address::parse("10.0.0.5")), "interfaces");
    EXPECT_EQ(finding.verdict, Verdict::wrong);
    EXPECT_NE(finding.text.find("10.0.0.5"), std::string::npos);
}

TEST(CheckSystem, FindsTwoInterfacesInOneSubnet)
{
    SystemState state = good_system();
    state.adapters[2] = adapter("eth1", "192.168.1.20");
    const Finding finding = only_problem(check_system(state, std::nullopt), "subnets");
    EXPECT_EQ(finding.verdict, Verdict::wrong);
    EXPECT_NE(finding.text.find("eth0 (192.168.1.10)"), std::string::npos);
    EXPECT_NE(finding.text.find("eth1 (192.168.1.20)"), std::string::npos);

    state.adapters[2] = adapter("eth0", "192.168.1.20");
    EXPECT_EQ(gravest(check_system(state, std::nullopt)), Verdict::good)
        << "two addresses of one interface are no harm";
}

TEST(CheckSystem, JudgesOnlyTheInterfaceOfTheCamera)
{
    SystemState state = good_system();
    state.adapters[2].has_link = false;
    EXPECT_EQ(only_problem(check_system(state, Ipv4Address::parse("192.168.2.5")), "link").verdict, Verdict::wrong);
    EXPECT_EQ(gravest(check_system(state, Ipv4Address::parse("192.168.1.5"))), Verdict::good);
}

TEST(CheckSystem, LooksAtSpeedPacketsRingPowerAndReversePath)
{
    const auto problem_with = [](auto change, const char* check) {
        SystemState state = good_system();
        change(state.adapters[1]);
        return only_problem(check_system(state, std::nullopt), check);
    };
    EXPECT_NE(problem_with([](Adapter& a) { a.speed = 100; }, "link").text.find("100 Mbit/s"), std::string::npos);
    EXPECT_NE(problem_with([](Adapter& a) { a.facts.mtu = 1500; }, "mtu").what_to_do.find("eth0 mtu 9000"),
              std::string::npos);
    const auto small_ring = [](Adapter& a) {
        a.receive_ring = 256;
        a.largest_receive_ring = 4096;
    };
    EXPECT_NE(problem_with(small_ring, "receive_ring").what_to_do.find("rx 4096"), std::string::npos);
    EXPECT_EQ(problem_with([](Adapter& a) { a.power_control = "auto"; }, "power").verdict, Verdict::look);
    EXPECT_EQ(problem_with([](Adapter& a) { a.reverse_path_check = 1; }, "reverse_path").verdict, Verdict::look);
}

TEST(CheckSystem, LooksAtFirewallsBuffersAndProcessors)
{
    SystemState state = good_system();
    state.firewalls.push_back({"firewalld", true, "it runs"});
    EXPECT_NE(only_problem(check_system(state, std::nullopt), "firewall").text.find("firewalld"), std::string::npos);

    state.firewalls = {{"nftables", std::nullopt, ""}};
    EXPECT_NE(only_problem(check_system(state, std::nullopt), "firewall").text.find("not told"), std::string::npos);

    state = good_system();
    state.largest_receive_buffer = 212'992;
    EXPECT_NE(only_problem(check_system(state, std::nullopt), "receive_buffers").what_to_do.find("rmem_max=16777216"),
              std::string::npos);

    state = good_system();
    state.processor_governors = {"performance", "powersave"};
    EXPECT_EQ(only_problem(check_system(state, std::nullopt), "processors").verdict, Verdict::look);
}

FoundCamera camera(const char* address, std::uint8_t number, bool is_reachable = true)
{
    return {.name = "Cam " + std::to_string(number),
            .mac = {{2, 0, 0, 0, 0, number}},
            .address = *Ipv4Address::parse(address),
            .mask = *Ipv4Address::parse("255.255.255.0"),
            .host = adapter("eth0", "192.168.1.10").facts,
            .is_reachable = is_reachable};
}

TEST(CheckSearch, WantsCameras)
{
    EXPECT_EQ(only_problem(check_search({}), "search").verdict, Verdict::wrong);
    EXPECT_EQ(gravest(check_search({camera("192.168.1.5", 1), camera("192.168.1.6", 2)})), Verdict::good);
}

TEST(CheckSearch, TellsCamerasInAWrongSubnetWhatToDo)
{
    const Finding finding =
        only_problem(check_search({camera("192.168.1.5", 1), camera("10.0.0.5", 2, false)}), "camera_subnet");
    EXPECT_EQ(finding.verdict, Verdict::wrong);
    EXPECT_NE(finding.what_to_do.find("pvctl ip 02:00:00:00:00:02 --force"), std::string::npos);
}

TEST(CheckSearch, FindsOneAddressOfTwoCamerasOnce)
{
    const Findings findings = check_search({camera("192.168.1.5", 1), camera("192.168.1.5", 2)});
    EXPECT_EQ(only_problem(findings, "addresses").verdict, Verdict::wrong);
    EXPECT_EQ(std::ranges::count(findings, std::string("addresses"), &Finding::check), 1);
}

TEST(CheckRoute, ComparesTheWayThereWithTheWayBack)
{
    const Ipv4Address there = *Ipv4Address::parse("192.168.1.5");
    const auto host = std::optional(adapter("eth0", "192.168.1.10").facts);
    EXPECT_EQ(check_route(there, any_address, host).verdict, Verdict::wrong);
    EXPECT_EQ(check_route(there, *Ipv4Address::parse("192.168.1.10"), host).verdict, Verdict::good);
    EXPECT_EQ(check_route(there, *Ipv4Address::parse("192.168.1.20"), host).verdict, Verdict::wrong);
    EXPECT_EQ(check_route(there, *Ipv4Address::parse("10.0.0.1"), std::nullopt).verdict, Verdict::good);
}

TEST(CheckPackets, TellsWhatDoesNotPass)
{
    PacketTest test{.was_made = true, .largest = 9000, .mtu = 9000};
    EXPECT_EQ(check_packets(test).verdict, Verdict::good);
    test.largest = 1500;
    EXPECT_EQ(check_packets(test).verdict, Verdict::look);
    test.camera_most = 1500;
    EXPECT_EQ(check_packets(test).verdict, Verdict::good) << "the camera can do no more";
    test.largest = 0;
    EXPECT_EQ(check_packets(test).verdict, Verdict::wrong);
    EXPECT_EQ(check_packets({.why_not = "somebody has control."}).verdict, Verdict::look);
}

TEST(CheckAnswers, CountsWhatWasLost)
{
    ControlTest test{.requests = 50, .mean = milliseconds(1), .largest = milliseconds(2)};
    EXPECT_EQ(check_answers(test).verdict, Verdict::good);
    test.mean = milliseconds(50);
    EXPECT_EQ(check_answers(test).verdict, Verdict::look);
    test.retries = 1;
    EXPECT_EQ(check_answers(test).verdict, Verdict::look);
    test.failures = 1;
    EXPECT_EQ(check_answers(test).verdict, Verdict::wrong);
}

TEST(CheckHeartbeat, WantsATimeoutThatFits)
{
    EXPECT_EQ(check_heartbeat({.heartbeat_timeout_ms = 3000}).verdict, Verdict::good);
    EXPECT_EQ(check_heartbeat({.heartbeat_timeout_ms = 500}).verdict, Verdict::look);
    EXPECT_EQ(check_heartbeat({.heartbeat_timeout_ms = 600'000}).verdict, Verdict::look);
}

}  // namespace
