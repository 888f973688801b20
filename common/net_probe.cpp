// SPDX-License-Identifier: MIT

#include "common/net_probe.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>

#include "common/pseudo_file.h"
#include "common/string_util.h"

namespace {

constexpr unsigned MAX_PORT = 65535;
constexpr unsigned MAX_IPV4_PART = 255;
constexpr int IPV4_PARTS = 4;
constexpr size_t MAX_IPV4_LENGTH = 15;

bool IsIpv4(const std::string& address)
{
    if (address.size() > MAX_IPV4_LENGTH) {
        return false;  // also spares long texts their copies
    }
    int parts = 0;
    size_t begin = 0;
    for (size_t end = 0; end != std::string::npos; begin = end + 1) {
        end = address.find('.', begin);
        unsigned part = 0;
        if (++parts > IPV4_PARTS || !StringToUint(address.substr(begin, end - begin), part) ||
            part > MAX_IPV4_PART) {
            return false;
        }
    }
    return parts == IPV4_PARTS;
}

bool IsIpv6Char(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || c == ':' || c == '.';
}

bool IsIpv6(const std::string& address)
{
    if (address.size() >= INET6_ADDRSTRLEN || !std::all_of(address.begin(), address.end(), IsIpv6Char)) {
        return false;
    }
    const bool hasTail = address.find('.') != std::string::npos;
    if (hasTail && !IsIpv4(address.substr(address.rfind(':') + 1))) {
        return false;
    }
    in6_addr unused{};
    return inet_pton(AF_INET6, address.c_str(), &unused) == 1;
}

}  // namespace

int GetNetIntfNode(const std::string& ifname)
{
    // What no interface is called must not lead out of the directory.
    if (ifname.empty() || ifname == "." || ifname == ".." || ifname.find('/') != std::string::npos) {
        return -1;
    }
    std::string word;
    if (!probe::ReadFirstWord(
            probe::PathText().Add("/sys/class/net/").Add(ifname).Add("/device/numa_node").CStr(), word)) {
        return -1;
    }
    int node = -1;
    const char* end = word.data() + word.size();
    const auto result = std::from_chars(word.data(), end, node);
    return result.ec == std::errc{} && result.ptr == end ? node : -1;
}

bool IsValidPort(unsigned port)
{
    return port >= 1 && port <= MAX_PORT;
}

bool IsValidIpAddress(const std::string& address)
{
    return address.find(':') == std::string::npos ? IsIpv4(address) : IsIpv6(address);
}
