// SPDX-License-Identifier: MIT

#include "common/net_probe.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <filesystem>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/probe_tree.h"

namespace {

bool InetTakes(const std::string& address)
{
    unsigned char bytes[sizeof(in6_addr)];
    return address.find('\0') == std::string::npos && (inet_pton(AF_INET, address.c_str(), bytes) == 1 ||
                                                       inet_pton(AF_INET6, address.c_str(), bytes) == 1);
}

TEST(IsValidPort, Is1To65535)
{
    EXPECT_FALSE(IsValidPort(0));
    EXPECT_TRUE(IsValidPort(1));
    EXPECT_TRUE(IsValidPort(9101));
    EXPECT_TRUE(IsValidPort(65535));
    EXPECT_FALSE(IsValidPort(65536));
    EXPECT_FALSE(IsValidPort(4294967295U));
}

TEST(IsValidIpAddress, TakesStandardForms)
{
    const char* valid[] = {"0.0.0.0",
                           "127.0.0.1",
                           "255.255.255.255",
                           "1.2.3.4",
                           "::",
                           "::1",
                           "1::",
                           "2001:db8::1",
                           "2001:DB8::aBcD",
                           "1:2:3:4:5:6:7:8",
                           "0001:0002:0003:0004:0005:0006:0007:0008",
                           "1::8",
                           "1:2:3:4:5:6:7::",
                           "::2:3:4:5:6:7:8",
                           "::1.2.3.4",
                           "::ffff:192.168.0.1",
                           "64:ff9b::255.255.255.255",
                           "1:2:3:4:5:6:1.2.3.4",
                           "ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255"};
    for (const char* address : valid) {
        EXPECT_TRUE(IsValidIpAddress(address)) << address;
        EXPECT_TRUE(InetTakes(address)) << address;
    }
}

TEST(IsValidIpAddress, RefusesTheRest)
{
    const std::string invalid[] = {"",
                                   ".",
                                   "...",
                                   "1",
                                   "1.2.3",
                                   "1.2.3.",
                                   ".1.2.3",
                                   "1..2.3",
                                   "1.2.3.4.",
                                   "1.2.3.4.5",
                                   "256.0.0.1",
                                   "1.2.3.256",
                                   "1.2.3.4294967297",
                                   "1.2.3.99999999999",
                                   "01.2.3.4",
                                   "1.2.3.00",
                                   "1.2.3.04",
                                   "-1.2.3.4",
                                   "+1.2.3.4",
                                   " 1.2.3.4",
                                   "1.2.3.4 ",
                                   "1.2.3.4\n",
                                   "0x1.2.3.4",
                                   "1,2,3,4",
                                   "a.b.c.d",
                                   "localhost",
                                   std::string("1.2.3.4\0", 8),
                                   std::string("::1\0", 4),
                                   std::string(1U << 20, '1'),
                                   std::string(1U << 20, ':'),
                                   ":",
                                   ":::",
                                   ":1",
                                   "1:",
                                   "1:2",
                                   "1:2:3:4:5:6:7",
                                   "1:2:3:4:5:6:7:8:9",
                                   "1:2:3:4:5:6:7:8::",
                                   "::1:2:3:4:5:6:7:8",
                                   "1::2::3",
                                   "12345::",
                                   "00001::",
                                   "g::",
                                   "::1%eth0",
                                   "fe80::1%1",
                                   "[::1]",
                                   "::1/64",
                                   "::1 ",
                                   " ::1",
                                   "::1.2.3",
                                   "::1.2.3.4.5",
                                   "::1.2.3.256",
                                   "::01.2.3.4",
                                   "::1.2.3.4:5",
                                   "1.2.3.4::",
                                   "1:2:3:4:5:6:7:1.2.3.4",
                                   "::.1.2.3",
                                   "::1.",
                                   "::."};
    for (const std::string& address : invalid) {
        EXPECT_FALSE(IsValidIpAddress(address)) << address.substr(0, 60);
        EXPECT_FALSE(InetTakes(address)) << address.substr(0, 60);
    }
}

TEST(IsValidIpAddress, AgreesWithTheSystemOnALargeTable)
{
    std::mt19937 random(6);
    const std::string seeds[] = {
        "127.0.0.1", "255.255.255.255",    "2001:db8::1",        "::ffff:10.0.0.1", "1:2:3:4:5:6:7:8",
        "::",        "fe80:0:0:0:a:b:c:d", "1:2:3:4:5:6:1.2.3.4"};
    const std::string alphabet = "0123456789abcdefABCDEF::::....gx% ";
    int valid = 0;
    for (int round = 0; round < 400000; ++round) {
        std::string address = seeds[random() % std::size(seeds)];
        for (unsigned change = random() % 4; change > 0 && !address.empty(); --change) {
            const size_t at = random() % address.size();
            const char c = alphabet[random() % alphabet.size()];
            switch (random() % 3) {
                case 0:
                    address[at] = c;
                    break;
                case 1:
                    address.insert(at, 1, c);
                    break;
                default:
                    address.erase(at, 1);
            }
        }
        const bool taken = InetTakes(address);
        valid += taken ? 1 : 0;
        ASSERT_EQ(IsValidIpAddress(address), taken) << address;
    }
    EXPECT_GT(valid, 40000);  // the table holds enough of both
    EXPECT_LT(valid, 360000);
}

TEST(GetNetIntfNode, ReadsTheNodeOfTheDevice)
{
    const support::ProbeTree tree;
    const struct {
        const char* content;
        int node;
    } cases[] = {{"0\n", 0},   {"3\n", 3},    {"-1\n", -1}, {"-7\n", -7},         {"2147483647", 2147483647},
                 {"", -1},     {"\n", -1},    {"x\n", -1},  {"2147483648\n", -1}, {"1x\n", -1},
                 {"+1\n", -1}, {"0x1\n", -1}, {"1.5\n", -1}};
    for (const auto& expected : cases) {
        tree.Write("sys/class/net/eth0/device/numa_node", expected.content);
        EXPECT_EQ(GetNetIntfNode("eth0"), expected.node) << expected.content;
    }
}

TEST(GetNetIntfNode, IsMinusOneForWhatIsNoInterface)
{
    const support::ProbeTree tree;
    tree.Write("sys/class/net/lo/mtu", "65536\n");
    tree.Write("sys/class/net/eth0/device/numa_node", "2\n");
    tree.Write("sys/class/device/numa_node", "2\n");
    tree.Write("sys/class/net/device/numa_node", "2\n");
    ASSERT_EQ(GetNetIntfNode("eth0"), 2);
    const std::string names[] = {"lo",
                                 "absent",
                                 "",
                                 ".",
                                 "..",
                                 "../net/eth0",
                                 "eth0/",
                                 "/eth0",
                                 "./eth0",
                                 "eth0/../eth0",
                                 std::string("eth0\0", 5),
                                 std::string(1U << 20, 'e'),
                                 std::string(1000, 'e')};
    for (const std::string& name : names) {
        EXPECT_EQ(GetNetIntfNode(name), -1) << name.substr(0, 40);
    }
}

TEST(GetNetIntfNode, KnowsThatLoopbackHasNoDevice)
{
    if (!std::filesystem::exists("/sys/class/net/lo")) {
        GTEST_SKIP() << "no loopback interface here";
    }
    EXPECT_EQ(GetNetIntfNode("lo"), -1);
}

}  // namespace
