/// @file
/// The IPv4 interfaces of this host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kestrane {

/// One IPv4 address of an interface. All in network byte order.
struct IP4_if_config {
    std::uint32_t inet;
    std::uint32_t netmask;
    std::uint32_t broadcast;
};

using IP4_if_table = std::vector<IP4_if_config>;

/// Fills the table with the IPv4 addresses of this host, at most 100, 127.0.0.1 left out.
/// @return number of records; 0, and an empty table, when the system does not tell. Any thread.
std::size_t get_ip4_if_table(IP4_if_table* _table_);

/// Prints the table to the standard output. A diagnostic.
int _network_test(int _argc, char** _argv);

}  // namespace Kestrane
