#include "Kestrane/_network.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace Kestrane {

namespace {

std::uint32_t ip_of(const sockaddr& _addr) {
    sockaddr_in addr{};
    std::memcpy(&addr, &_addr, sizeof addr);
    return addr.sin_addr.s_addr;
}

void append_interfaces(int _socket, IP4_if_table* _table_) {
    std::array<ifreq, 4000 / sizeof(ifreq)> entries{};
    ifconf conf{};
    conf.ifc_len = sizeof entries;
    conf.ifc_req = entries.data();
    if (::ioctl(_socket, SIOCGIFCONF, &conf) != 0) return;

    const std::size_t count = static_cast<std::size_t>(conf.ifc_len) / sizeof(ifreq);
    for (std::size_t i = 0; i < count; ++i) {
        if (entries[i].ifr_addr.sa_family != AF_INET) continue;
        const std::uint32_t inet = ip_of(entries[i].ifr_addr);
        if (inet == htonl(INADDR_LOOPBACK)) continue;
        // The request bears the address, too: an interface may have several under one name.
        ifreq request = entries[i];
        if (::ioctl(_socket, SIOCGIFNETMASK, &request) != 0) continue;  // gone since
        const std::uint32_t netmask = ip_of(request.ifr_netmask);
        _table_->push_back({inet, netmask, ~netmask | inet});
    }
}

void print_address(const char* _label, std::uint32_t _ip) {
    std::array<char, INET_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET, &_ip, text.data(), text.size());
    std::printf("\t%s = %s\n", _label, text.data());
}

}  // namespace

std::size_t get_ip4_if_table(IP4_if_table* _table_) {
    _table_->clear();
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return 0;
    append_interfaces(fd, _table_);
    ::close(fd);
    return _table_->size();
}

int _network_test(int /*_argc*/, char** /*_argv*/) {
    IP4_if_table table;
    get_ip4_if_table(&table);
    for (const IP4_if_config& config : table) {
        print_address("inet", config.inet);
        print_address("netmask", config.netmask);
        print_address("broadcast", config.broadcast);
    }
    return 0;
}

}  // namespace Kestrane
