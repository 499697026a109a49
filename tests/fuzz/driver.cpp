#include <sys/ioctl.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "fuzz/fuzz.h"

namespace fuzz {

namespace {

/// Bytes that have arrived and were not yet read.
bool has_unread(Socket _socket) {
    int count = 0;
    return ::ioctl(_socket, FIONREAD, &count) == 0 && count != 0;
}
/// All, or of the connections whose far port this is.
bool is_all_read(Port _far_port = 0) {
    const std::lock_guard lock(ooo);
    return std::none_of(g_tcp_records.begin(), g_tcp_records.end(), [_far_port](const auto* _record) {
        return (_far_port == 0 || _record->remote_addr.port == _far_port) && has_unread(_record->socket);
    });
}

/// The rules of the system lose some messages with their blocks: answers that nobody waits for any more, notices of a lost
/// server that a full pipe refused. No sanitizer must see this, which looks at what a worker may be writing.
__attribute__((no_sanitize("thread"), noinline)) bool is_lost(mm_t _block) {
    if (gp_memory->get_size(_block) != sizeof(Packet)) return false;
    const Header& header = static_cast<const Packet*>(gp_memory->get_addr(_block))->header;
    const auto type = static_cast<unsigned>(header.type);
    return header.error == VORN_ERR_OBJECT_IS_NOT_EXIST_ || (type >= 32 && (type % 8 == 1 || type % 8 == 2)) ||
           (header.type == EMsg::ctrl && header.code == c_tcp_disconnected_from_server);
}

/// What the runtime may hold between two inputs.
class Invariants {
public:
    /// What is seen most often while the first inputs' messages go away and directories come and go.
    Invariants() {
        std::map<std::pair<std::size_t, std::size_t>, int> seen;
        for (int i = 0; i < 300; ++i) {
            ::usleep(1000);
            ++seen[{net::records(), net::live().blocks}];
        }
        std::tie(connections, blocks) =
            std::ranges::max_element(seen, {}, [](const auto& _one) { return _one.second; })->first;
        blocks += g_udp_map.size();  // each such socket holds one from its first datagram on
        files = net::descriptors();
    }
    void check() {
        for (int i = 0; i < 20000 && !is_at_rest(); ++i) std::this_thread::yield();
        // What is still there after a second is not on its way.
        for (int i = 0; i < 1000 && !is_at_rest(); ++i) ::usleep(1000);
        if (!is_at_rest()) {
            const std::lock_guard lock(gp_memory->mtx);
            lost = static_cast<std::size_t>(std::ranges::count_if(net::keys_of(*gp_memory), is_lost));
        }
        until([this] { return is_at_rest(); }, "connections are given up, and blocks given back");
        // A fuzzer opens two for itself after its first input: pipes to a symbolizer.
        if (++inputs % 256 == 0) until([this] { return net::descriptors() <= files + 2; }, "descriptors are closed");
    }

private:
    bool is_at_rest() const {
        return net::records() <= connections && is_quiet() && net::live().blocks <= blocks + 2 * lost;
    }

    std::size_t connections = 0, blocks = 0, files = 0, lost = 0;
    unsigned inputs = 0;
};

}  // namespace

Error look_at(const void* _data, Pksize _size) {
    static std::atomic<unsigned> sink{0};
    const auto* const bytes = static_cast<const std::uint8_t*>(_data);
    for (std::size_t i = 0; i < _size; ++i) sink += bytes[i];
    return _size != 0 && bytes[0] == 0xEE ? 77 : 0;
}

bool is_quiet() {
    if (!is_all_read()) return false;
    {
        const std::lock_guard lock(g_udp_map_lock);
        for (const auto& [port, record] : g_udp_map) {
            if (has_unread(record->socket)) return false;
        }
    }
    return gp_processor->test_empty();
}

void send_in_pieces(const net::Raw_connection& _to, const Bytes& _bytes, std::uint8_t _seed) {
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
        until([&] { return is_all_read(_to.port()); }, "what arrives is read");
    }
    until([] { return gp_processor->test_empty(); }, "messages are processed");
}

void end(net::Raw_connection* _connection, bool _resets, std::size_t _first) {
    if (_resets) return _connection->reset();
    ::shutdown(_connection->fd, SHUT_WR);
    const Bytes said = _connection->read(1 << 17);
    for (std::size_t at = std::min(said.size(), _first), size = 0; at < said.size(); at += 20 + size) {
        require(said.size() - at >= 20, "a header is whole");
        size = said[at + 16] | said[at + 17] << 8 | said[at + 18] << 16 | std::size_t{said[at + 19]} << 24;
        require(said.size() - at - 20 >= size, "a header is followed by its payload");
    }
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* _data, std::size_t _size) {
    // Lives as long as the process.
    static fuzz::Invariants& invariants = [] {
        testing::FLAGS_gtest_throw_on_failure = true;
        // libFuzzer's own alarm would interrupt the calls of the test vocabulary. Every wait here has a watchdog instead.
        sigset_t alarm;
        ::sigemptyset(&alarm);
        ::sigaddset(&alarm, SIGALRM);
        fuzz::require(::pthread_sigmask(SIG_BLOCK, &alarm, nullptr) == 0, "no alarms");
        // Of more listeners an input shows nothing that it does not show of two.
        fuzz::require(Vorn35::initialize(2, 16, 0) == 0, "the runtime starts");
        // So that the objects of the target are up and have done once what they do with each input.
        for (int i = 0; i < 3; ++i) fuzz::run({nullptr, 0});
        return std::ref(*new fuzz::Invariants);
    }();
    fuzz::run({_data, _size});
    invariants.check();
    return 0;
}

#ifndef VORN35_FUZZES
// Without the fuzzer: the files of a folder as tests.
int main(int, char** _arguments) {
    const std::filesystem::directory_iterator folder(_arguments[1]);
    const std::set<std::filesystem::path> files(begin(folder), end(folder));
    for (const auto& file : files) {
        std::ifstream stream(file, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
        // Before the run: the last line names the input that ended the process.
        std::printf("%s, %zu bytes\n", file.c_str(), bytes.size());
        static_cast<void>(std::fflush(stdout));
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    return files.empty() ? 2 : 0;
}
#endif
