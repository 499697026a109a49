// values publish PORT           publishes each line of its input, under code 0x0A0B; says "ready", and "left" for each
//                               client that goes
// values follow ADDRESS PORT    follows it unreliably: says "linked", then each value, until its input ends
// values watch INTERFACE PORT   all datagrams to that port that leave by the interface ("out") or come in by it ("in"):
//                               says "ready", then each as "out 232.1.2.3 SIZE": its bytes behind the UDP header
#include <arpa/inet.h>
#include <linux/filter.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netinet/ip.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <iterator>
#include <string>

#include "Vorn35/Vorn35.h"

namespace {

using namespace Vorn35;

constexpr Msg_code c_code = 0x0A0B;

struct Publisher : Stub_information {
    Publisher() : Stub_information(c_code) {}
    void on_unlink(Addr, Error) override { std::puts("left"); }
};

struct Follower : Proxy_information {
    Follower() : Proxy_information(c_code) {}
    void on_connect() override {
        Msg_num num = 0;
        delegate_link(&num, false, 20);
    }
    void on_link(Msg_num, Error _err, double) override { std::puts(_err == 0 ? "linked" : get_err_str(_err)); }
    void on_sync(Sync_model, double, double, const void* _data, Pksize _size) override {
        std::printf("%.*s\n", static_cast<int>(_size), static_cast<const char*>(_data));
    }
};

/// Until the end of the input, and each line goes to the operation.
template <class Operation>
void with_input(Operation _operation) {
    for (std::string line; std::getline(std::cin, line);) _operation(line);
}

int publish(Port _port) {
    Publisher publisher;
    const Error err = publisher.start(nullptr, &_port);
    std::puts(err == 0 ? "ready" : get_err_str(err));
    with_input([&](const std::string& _line) { publisher.write(_line.data(), static_cast<Pksize>(_line.size())); });
    finalize();
    return err;
}

int follow(Addr _service) {
    Follower follower;
    const Error err = follower.start(_service);
    with_input([](const std::string&) {});
    finalize();
    return err;
}

int watch(const char* _interface, Port _port) {
    // Of all protocols: what leaves is shown to no other socket. The kernel picks ours, so that the rest does not fill
    // the socket's buffer: UDP to the port, behind an IP header of any length.
    const int fd = ::socket(AF_PACKET, SOCK_DGRAM, 0);
    sock_filter picks[] = {BPF_STMT(BPF_LD | BPF_B | BPF_ABS, 9),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, IPPROTO_UDP, 0, 3),
                           BPF_STMT(BPF_LDX | BPF_B | BPF_MSH, 0),
                           BPF_STMT(BPF_LD | BPF_H | BPF_IND, 2),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, _port, 1, 0),
                           BPF_STMT(BPF_RET | BPF_K, 0),
                           BPF_STMT(BPF_RET | BPF_K, 0xFFFF)};
    const sock_fprog filter{std::size(picks), picks};
    sockaddr_ll where{};
    where.sll_family = AF_PACKET;
    where.sll_protocol = htons(ETH_P_ALL);
    where.sll_ifindex = static_cast<int>(if_nametoindex(_interface));
    if (::setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) != 0 || where.sll_ifindex == 0 ||
        ::bind(fd, reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0) {
        return 1;
    }
    std::puts("ready");
    pollfd events[2] = {{fd, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    while (::poll(events, 2, -1) > 0) {
        if (events[0].revents == 0) break;  // only the input is left, and that has ended
        iphdr ip{};
        sockaddr_ll from{};
        socklen_t from_size = sizeof from;
        if (::recvfrom(fd, &ip, sizeof ip, 0, reinterpret_cast<sockaddr*>(&from), &from_size) != sizeof ip) return 1;
        if (from.sll_protocol != htons(ETH_P_IP)) continue;
        std::printf("%s %s %d\n", from.sll_pkttype == PACKET_OUTGOING ? "out" : "in", ::inet_ntoa(in_addr{ip.daddr}),
                    ntohs(ip.tot_len) - ip.ihl * 4 - 8);
    }
    ::close(fd);
    return 0;
}

}  // namespace

int main(int _count, char** _arguments) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (_count < 3) return 2;
    const auto port = static_cast<Port>(std::atoi(_arguments[_count - 1]));
    if (std::strcmp(_arguments[1], "watch") == 0) return watch(_arguments[2], port);
    initialize();
    return _count == 3 ? publish(port) : follow({Vorn35::inet_addr(_arguments[2]), port});
}
