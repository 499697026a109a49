#include "fuzz/support/runtime.h"

#include <sys/ioctl.h>

#include <csignal>
#include <map>
#include <set>
#include <tuple>

namespace fuzz {

namespace {

/// Of more listeners an input shows nothing that it does not show of two.
constexpr std::size_t c_listeners = 2;

class Echo : public Stub_call {
public:
    Echo() : Stub_call(net::c_code, 64) {}

private:
    Error on_call(Addr, const void* _in, Pksize _in_size, void* _out_, Pksize* _out_size_, double, double) override {
        *_out_size_ = _in_size;
        if (_in_size != 0) std::memcpy(_out_, _in, _in_size);
        return 0;
    }
};

class Asker : public Proxy_call {
public:
    Asker() : Proxy_call(net::c_code) {}
    net::Events<Bytes> returned;

private:
    void on_return(Msg_num, Error _err, const void* _data, Pksize _size, double) override {
        require(_err == 0, "others are served");
        returned.put(net::copy(_data, _size));
    }
};

/// Live as long as the process, as the runtime does.
Echo& echo() {
    static Echo& object = *new Echo;
    return object;
}
Asker& asker() {
    static Asker& object = *new Asker;
    return object;
}

/// Bytes that have arrived and were not yet read.
int waiting(Socket _socket) {
    int count = 0;
    return ::ioctl(_socket, FIONREAD, &count) == 0 ? count : 0;
}

/// A socket for datagrams holds a block from its first one on.
void wake_datagram_sockets() {
    const net::Raw_socket from(::socket(AF_INET, SOCK_DGRAM, 0));
    {
        const std::lock_guard lock(g_udp_map_lock);
        for (const auto& [port, record] : g_udp_map) {
            const sockaddr_in to = net::socket_address(port);
            require(::sendto(from.fd, "", 1, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 1, "a port");
        }
    }
    until(is_quiet, "what is no message is dropped");
}

// What the workers hold is looked at while they run. A look that came in between is set right by a second one, so these
// two are all that a sanitizer must not see.
#define VORN35_LOOKS_BESIDE __attribute__((no_sanitize("thread"), noinline))

VORN35_LOOKS_BESIDE mm_t header_of(const Token& _token) {
    return _token.header_mm;
}

VORN35_LOOKS_BESIDE Packet copy_of(const void* _packet) {
    Packet copy;
    const volatile auto* const from = static_cast<const volatile std::uint8_t*>(_packet);
    volatile auto* const to = reinterpret_cast<volatile std::uint8_t*>(&copy);
    for (std::size_t i = 0; i < sizeof copy; ++i) to[i] = from[i];
    return copy;
}

}  // namespace

void look_at(const void* _data, std::size_t _size) {
    static std::atomic<unsigned> sink{0};
    unsigned sum = 0;
    for (std::size_t i = 0; i < _size; ++i) sum += static_cast<const std::uint8_t*>(_data)[i];
    sink += sum;
}

void start_runtime() {
    testing::FLAGS_gtest_throw_on_failure = true;
    // A fuzzer's own alarm, by which it would find an input that hangs, interrupts the calls of the test vocabulary.
    // Every wait here has a watchdog instead.
    sigset_t alarm;
    ::sigemptyset(&alarm);
    ::sigaddset(&alarm, SIGALRM);
    require(::pthread_sigmask(SIG_BLOCK, &alarm, nullptr) == 0, "no alarms");
    require(initialize(c_listeners, 16, 0) == 0, "the runtime starts");
    Port port = 0;
    require(echo().start(nullptr, &port) == 0 && asker().start(Addr(c_loopback_ip, port)) == 0, "others start");
    until([] { return asker().is_connected(); }, "others connect");
}

void until_read(const std::function<bool(const struct_epoll_overlapped_tcp&)>& _is_ours) {
    until(
        [&] {
            const std::lock_guard lock(ooo);
            const auto waits = [&](const struct_epoll_overlapped_tcp* _record) {
                return _is_ours(*_record) && waiting(_record->socket) != 0;
            };
            return std::none_of(g_tcp_records.begin(), g_tcp_records.end(), waits);
        },
        "what arrives is read");
}

bool is_quiet() {
    {
        const std::lock_guard lock(ooo);
        for (const auto* record : g_tcp_records) {
            if (waiting(record->socket) != 0) return false;
        }
    }
    {
        const std::lock_guard lock(g_udp_map_lock);
        for (const auto& [port, record] : g_udp_map) {
            if (waiting(record->socket) != 0) return false;
        }
    }
    return gp_processor->test_empty();
}

Invariants::Invariants(std::function<bool(const Packet&)> _is_lost) : is_lost(std::move(_is_lost)) {
    wake_datagram_sockets();
    // What is seen most often while the first inputs' messages go away and directories come and go.
    using Seen = std::pair<std::size_t, std::size_t>;
    std::map<Seen, int> seen;
    for (int i = 0; i < 300; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++seen[{net::records(), net::live().blocks}];
    }
    const auto by_count = [](const auto& _a, const auto& _b) { return _a.second < _b.second; };
    std::tie(connections, blocks) = std::max_element(seen.begin(), seen.end(), by_count)->first;
    files = net::descriptors();
}

bool Invariants::is_at_rest() const {
    return net::records() <= connections && is_quiet() && net::live().blocks <= blocks;
}

void Invariants::check() {
    for (int i = 0; i < 20000 && !is_at_rest(); ++i) std::this_thread::yield();
    // Whatever is still there after a second is not on its way: it was lost.
    for (int i = 0; i < 1000 && !is_at_rest(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (!is_at_rest()) free_lost();
    until([this] { return net::records() <= connections; }, "connections that ended are given up");
    until([this] { return is_at_rest(); }, "blocks are given back");
    if (++inputs % 64 == 0) {
        const Bytes question = net::number(inputs, 4);
        Msg_num num = 0;
        require(asker().delegate_call(&num, question.data(), 4, 20) == 0, "others can ask");
        require(asker().returned.take() == question, "others are answered");
    }
    if (inputs % 1024 == 0)
        until([this] { return net::descriptors() <= files + c_fuzzer_files; }, "descriptors are closed");
}

std::map<mm_t, mm_t> Invariants::lost() const {
    std::set<mm_t> in_use{heartbeat_token.header_mm};
    {
        const std::lock_guard lock(ooo);
        for (const auto* record : g_tcp_records) in_use.insert(header_of(record->recv_token));
    }
    {
        const std::lock_guard lock(g_udp_map_lock);
        for (const auto& [port, record] : g_udp_map) in_use.insert(header_of(record->recv_token));
    }
    // As long as this is held no block dies.
    const std::lock_guard lock(gp_memory->mtx);
    std::map<mm_t, Packet> headers;
    std::multimap<std::size_t, mm_t> data;
    for (const mm_t mm : net::keys_of(*gp_memory)) {
        const std::size_t size = gp_memory->get_size(mm);
        if (size != sizeof(Packet)) {
            data.emplace(size, mm);
        } else if (!in_use.contains(mm)) {
            const Packet packet = copy_of(gp_memory->get_addr(mm));
            if (is_lost(packet)) headers.emplace(mm, packet);
        }
    }
    // Which data was its own cannot be told from its contents, and its size is enough: the objects of the fuzzers hold
    // only values that are larger than any input.
    std::map<mm_t, mm_t> found;
    for (const auto& [header, packet] : headers) {
        mm_t& own = found[header];
        const auto of_size = data.find(packet.get_total_size());
        if (of_size == data.end()) continue;
        own = of_size->second;
        data.erase(of_size);
    }
    return found;
}

void Invariants::free_lost() const {
    const auto before = lost();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    for (const auto& [header, data] : lost()) {
        if (!before.contains(header)) continue;  // on its way
        if (data != 0) gp_memory->proc_free(data);
        gp_memory->proc_free(header);
    }
}

}  // namespace fuzz
