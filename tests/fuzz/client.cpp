// What a server sends to a client. An input is a form, how it is cut, what the client does meanwhile, and the bytes.
#include <future>

#include "fuzz/fuzz.h"

namespace {

using namespace Vorn35;
using fuzz::require;

/// A thread waits for a request: until its answer, or the end of the connection at the latest.
template <class Wait>
std::future<void> waits(Promise_ _promise, Wait _wait) {
    require(_promise->key.err == 0, "a connected client can ask");
    auto wait = std::async(std::launch::async, _wait, _promise);
    fuzz::until([_promise] { return net::is_waited_for(_promise); }, "a wait begins");
    return wait;
}

/// @param _kind 0 and 7: for nothing.
std::future<void> waits_for(fuzz::Client* _client, unsigned _kind) {
    const auto answer = [_client](Promise_ _promise) {
        fuzz::Bytes bytes(64);
        auto size = static_cast<Pksize>(bytes.size());
        if (_client->calls.await_return(_promise, bytes.data(), &size, nullptr) != 0) return;
        require(size <= bytes.size(), "an answer fits its buffer");
        fuzz::look_at(bytes.data(), size);
    };
    const auto signalled = [_client](Promise_ _promise) { _client->signals.await_return(_promise, nullptr); };
    const auto link = [](auto& _one, auto... _reliability) {
        return waits(_one.async_link(_reliability..., 2000),
                     [&_one](Promise_ _promise) { _one.await_link_return(_promise, nullptr); });
    };
    if (_kind == 1) return waits(_client->calls.async_call("ask", 3, 2000), answer);
    if (_kind == 2) return waits(_client->signals.async_signal("ask", 3, 2000), signalled);
    if (_kind == 3) return link(_client->events);
    if (_kind == 4 || _kind == 5) return link(_client->values, _kind == 4);
    if (_kind == 6) return link(_client->commands);
    return {};
}

/// All that the server says, to the end of the connection.
void talk(fuzz::Input* _in, fuzz::Client* _client, Port _port, net::Raw_connection _connection) {
    const int form = _in->byte() % 3;
    const std::uint8_t cuts = _in->byte();
    const unsigned does = _in->byte();
    const fuzz::Bytes hello = _connection.read(fuzz::c_opening);
    require(hello.size() == fuzz::c_opening, "a client opens");
    std::future<void> wait;
    Msg_num first = 0;
    if (form != fuzz::bare) {
        _connection.send(net::opening(_port, static_cast<std::uint16_t>(hello[1020] | hello[1021] << 8)));
        fuzz::until([_client] { return _client->is_connected(); }, "a client connects");
        static_cast<void>(_client->calls.delegate_call(&first, "ask", 3, 2000));
        if ((does & 8) != 0) _client->link((does & 16) != 0);
        wait = waits_for(_client, does % 8);
    }
    fuzz::send_in_pieces(_connection, fuzz::stream(_in, form, 0, first), cuts);
    if ((does & 32) != 0) static_cast<void>(_client->commands.write("value", 5));
    if ((does & 64) != 0) _client->unlink_all();
    fuzz::end(&_connection, does > 127, 0);
    require(!wait.valid() || wait.wait_for(net::c_watchdog) == std::future_status::ready, "a wait ends");
}

}  // namespace

void fuzz::run(Input _in) {
    static fuzz::Client& client = *new fuzz::Client;
    static const net::Raw_server& server = *new net::Raw_server;
    require(client.start(Addr(c_loopback_ip, server.port())) == 0, "a client starts");
    talk(&_in, &client, server.port(), server.accept());
    fuzz::until([] { return gp_processor->test_empty(); }, "messages are processed");
    require(client.stop() == 0, "a client stops");
    // The next beat may have connected it again already.
    while (server.readable(0)) server.accept();
}
