#include "fuzz/support/runtime.h"

#include <sys/ioctl.h>

#include <csignal>
#include <set>
#include <tuple>

namespace fuzz {

namespace {

/// Of more listeners an input shows nothing that it does not show of two.
constexpr std::size_t c_listeners = 2;

/// Those that have nothing to do with the inputs.
struct Others {
    net::Service service;
    net::Client client;
};

/// Bytes that have arrived and were not yet read.
int waiting(Socket _socket) {
    int count = 0;
    return ::ioctl(_socket, FIONREAD, &count) == 0 ? count : 0;
}

bool all_is_read(const Is_ours& _is_ours) {
    const std::lock_guard lock(ooo);
    return std::none_of(g_tcp_records.begin(), g_tcp_records.end(),
                        [&](const auto* _record) { return _is_ours(*_record) && waiting(_record->socket) != 0; });
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

/// What the runtime may hold between two inputs.
class Invariants {
public:
    /// The objects of the target are up and have done once what they do with each input.
    Invariants(Others* _others, bool (*_is_lost)(const Packet&)) : others(*_others), is_lost(_is_lost) {
        wake_datagram_sockets();
        // What is seen most often while the first inputs' messages go away and directories come and go.
        std::map<std::pair<std::size_t, std::size_t>, int> seen;
        for (int i = 0; i < 300; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            ++seen[{net::records(), net::live().blocks}];
        }
        const auto by_count = [](const auto& _a, const auto& _b) { return _a.second < _b.second; };
        std::tie(connections, blocks) = std::max_element(seen.begin(), seen.end(), by_count)->first;
        files = net::descriptors();
    }

    void check() {
        for (int i = 0; i < 20000 && !is_at_rest(); ++i) std::this_thread::yield();
        // Whatever is still there after a second is not on its way: it was lost.
        for (int i = 0; i < 1000 && !is_at_rest(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (!is_at_rest()) free_lost();
        until([this] { return net::records() <= connections; }, "connections that ended are given up");
        until([this] { return is_at_rest(); }, "blocks are given back");
        if (++inputs % 64 == 0) {
            const Bytes question = net::number(inputs, 4);
            const net::Answer answer = others.client.delegate_and_take(question);
            require(others.service.called.take().data == question && answer.err == 0 && answer.data == question,
                    "others are served");
        }
        if (inputs % 1024 == 0)
            until([this] { return net::descriptors() <= files + c_fuzzer_files; }, "descriptors are closed");
    }

private:
    /// A socket for datagrams holds a block from its first one on.
    static void wake_datagram_sockets() {
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

    bool is_at_rest() const { return net::records() <= connections && is_quiet() && net::live().blocks <= blocks; }

    /// Headers of messages that the rules have lost, it seems, each with its data or 0.
    std::map<mm_t, mm_t> lost() const {
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
                const bool loss = packet.get_msg_type() == EMsg::ctrl;
                if ((loss && packet.header.code == c_tcp_disconnected_from_server) || is_lost(packet)) {
                    headers.emplace(mm, packet);
                }
            }
        }
        // Which data was its own cannot be told from its contents, and its size is enough: the objects of the fuzzers
        // hold only values that are larger than any input.
        std::map<mm_t, mm_t> found;
        for (const auto& [header, packet] : headers) {
            const auto own = data.extract(packet.get_total_size());
            found[header] = own.empty() ? mm_t{0} : own.mapped();
        }
        return found;
    }

    /// Gives back what is still lost at a second look.
    void free_lost() const {
        const auto before = lost();
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        for (const auto& [header, data] : lost()) {
            if (!before.contains(header)) continue;  // on its way
            if (data != 0) gp_memory->proc_free(data);
            gp_memory->proc_free(header);
        }
    }

    Others& others;
    bool (*const is_lost)(const Packet&);
    std::size_t connections = 0;
    std::size_t blocks = 0;
    std::size_t files = 0;
    unsigned inputs = 0;
};

/// Lives as long as the process, as the runtime does.
Others* start_runtime() {
    testing::FLAGS_gtest_throw_on_failure = true;
    // A fuzzer's own alarm, by which it would find an input that hangs, interrupts the calls of the test vocabulary.
    // Every wait here has a watchdog instead.
    sigset_t alarm;
    ::sigemptyset(&alarm);
    ::sigaddset(&alarm, SIGALRM);
    require(::pthread_sigmask(SIG_BLOCK, &alarm, nullptr) == 0, "no alarms");
    require(initialize(c_listeners, 16, 0) == 0, "the runtime starts");
    auto* const others = new Others;
    others->client.connect(others->service.open());
    return others;
}

}  // namespace

void look_at(const void* _data, std::size_t _size) {
    static std::atomic<unsigned> sink{0};
    unsigned sum = 0;
    for (std::size_t i = 0; i < _size; ++i) sum += static_cast<const std::uint8_t*>(_data)[i];
    sink += sum;
}

void until_read(const Is_ours& _is_ours) {
    until([&] { return all_is_read(_is_ours); }, "what arrives is read");
}

bool is_quiet() {
    if (!all_is_read([](const auto&) { return true; })) return false;
    {
        const std::lock_guard lock(g_udp_map_lock);
        for (const auto& [port, record] : g_udp_map) {
            if (waiting(record->socket) != 0) return false;
        }
    }
    return gp_processor->test_empty();
}

void send_in_pieces(const net::Raw_socket& _to, const Bytes& _bytes, std::uint8_t _seed, const Is_ours& _is_ours) {
    unsigned state = _seed;
    for (auto from = _bytes.begin(); from != _bytes.end();) {
        std::ptrdiff_t length = _bytes.end() - from;
        // Few ends, and most of them inside of headers: each costs a turn of the receiver.
        if (state != 0) {
            state = (state * 5 + 3) & 0xFF;
            if (state % 16 == 0) state = 0;  // the rest in one piece
            length = std::min<std::ptrdiff_t>(length, state % 3 == 0 ? state * 8 : state % 23 + 1);
        }
        _to.send(Bytes(from, from + length));
        from += length;
        until_read(_is_ours);
    }
}

int test_one(void (*_run)(Input), bool (*_is_lost)(const Packet&), Input _in) {
    static Invariants& invariants = [&] {
        Others* const others = start_runtime();
        for (int i = 0; i < 3; ++i) _run(Input(nullptr, 0));
        return std::ref(*new Invariants(others, _is_lost));
    }();
    _run(_in);
    invariants.check();
    return 0;
}

}  // namespace fuzz
