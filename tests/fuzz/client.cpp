// What a server sends to a client. An input is a form, how it is cut, what the client does meanwhile, and the bytes.
#include <future>

#include "fuzz/support/objects.h"

namespace {

using namespace Vorn35;
using fuzz::require;

fuzz::Client& client() {
    static fuzz::Client& object = *new fuzz::Client;
    return object;
}
const net::Raw_server& server() {
    static const net::Raw_server& object = *new net::Raw_server;
    return object;
}

/// A thread waits for a request: until its answer, or the end of the connection at the latest.
template <class Wait>
std::future<void> waits(Promise_ _promise, Wait _wait) {
    require(_promise->key.err == 0, "a connected client can ask");
    auto wait = std::async(std::launch::async, _wait, _promise);
    fuzz::until([_promise] { return net::is_waited_for(_promise); }, "a wait begins");
    return wait;
}
template <class Member, class... Reliability>
std::future<void> waits_for_link(Member& _member, Reliability... _reliability) {
    return waits(_member.async_link(_reliability..., 2000),
                 [&_member](Promise_ _promise) { _member.await_link_return(_promise, nullptr); });
}

/// @param _kind 0: for nothing.
std::future<void> waits_for(unsigned _kind) {
    const auto answer = [](Promise_ _promise) {
        net::Bytes bytes(64);
        auto size = static_cast<Pksize>(bytes.size());
        if (client().Proxy_call::await_return(_promise, bytes.data(), &size, nullptr) != 0) return;
        require(size <= bytes.size(), "an answer fits its buffer");
        fuzz::look_at(bytes.data(), size);
    };
    const auto signalled = [](Promise_ _promise) { client().Proxy_signal::await_return(_promise, nullptr); };
    switch (_kind) {
        case 1:
            return waits(client().async_call("ask", 3, 2000), answer);
        case 2:
            return waits(client().async_signal("ask", 3, 2000), signalled);
        case 3:
            return waits_for_link<Proxy_event>(client());
        case 4:
        case 5:
            return waits_for_link<Proxy_information>(client(), _kind == 4);
        case 6:
            return waits_for_link<Proxy_command>(client());
        default:
            return {};
    }
}

/// What the client does meanwhile; the low bits are what it waits for.
enum Does : std::uint8_t { links = 8, links_by_tcp = 16, writes = 32, unlinks = 64, is_reset = 128 };

/// All that the server says, to the end of the connection.
void talk(fuzz::Input* _in, net::Raw_connection _connection) {
    const auto form = _in->byte() % fuzz::form_count;
    const std::uint8_t cuts = _in->byte();
    const std::uint8_t does = _in->byte();
    const net::Bytes hello = _connection.read(fuzz::c_opening);
    require(hello.size() == fuzz::c_opening, "a client opens");
    const auto send = [&](const net::Bytes& _bytes) {
        fuzz::send_in_pieces(_connection, _bytes, cuts,
                             [](const auto& _record) { return _record.remote_addr.port == server().port(); });
    };
    const auto end = [&] {
        if ((does & is_reset) != 0) return _connection.reset();
        ::shutdown(_connection.fd, SHUT_WR);
        fuzz::check_messages(_connection.read(1 << 16), 0);
    };
    if (form == fuzz::bare) {
        send(_in->rest());
        return end();
    }
    _connection.send(net::opening(server().port(), static_cast<std::uint16_t>(hello[1020] | hello[1021] << 8)));
    client().until_connected();
    const Msg_num first = client().ask();
    if ((does & links) != 0) client().link((does & links_by_tcp) != 0);
    const std::future<void> wait = waits_for(does % 8);
    send(form == fuzz::opened ? _in->rest() : fuzz::messages(_in, 0, first));
    fuzz::until_processed();
    if ((does & writes) != 0) static_cast<void>(client().Proxy_command::write("value", 5));
    if ((does & unlinks) != 0) client().unlink_all();
    end();
    require(!wait.valid() || wait.wait_for(net::c_watchdog) == std::future_status::ready, "a wait ends");
}

void run(fuzz::Input _in) {
    client().connect(Addr(c_loopback_ip, server().port()));
    talk(&_in, server().accept());
    fuzz::until_processed();
    require(client().stop() == 0, "a client stops");
    // The next beat may have connected it again already.
    while (server().readable(0)) server().accept();
}

/// A second answer to one request.
bool is_lost(const Packet& _pkt) {
    const EMsg type = _pkt.get_msg_type();
    return static_cast<std::uint8_t>(type) >= 32 && get_return_type(type) != type;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* _data, std::size_t _size) {
    return fuzz::test_one(run, is_lost, {_data, _size});
}
