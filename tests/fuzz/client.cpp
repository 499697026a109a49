// What a server sends to a client. An input is a form, how it is cut, what the client does meanwhile, and the bytes.
#include "fuzz/support/objects.h"

namespace {

using namespace Vorn35;
using fuzz::require;
using net::operator+;

fuzz::Client& client() {
    static fuzz::Client& object = *new fuzz::Client;
    return object;
}
const net::Raw_server& server() {
    static const net::Raw_server& object = *new net::Raw_server;
    return object;
}

/// One request that a thread waits for: until its answer, or the end of the connection at the latest.
class Waiter {
public:
    /// @param _kind 0: none.
    explicit Waiter(unsigned _kind) {
        Promise_ promise = nullptr;
        std::function<void()> wait;
        switch (_kind) {
            case 1:
                promise = client().async_call("ask", 3, 2000);
                wait = [promise] {
                    net::Bytes answer(64);
                    auto size = static_cast<Pksize>(answer.size());
                    if (client().Proxy_call::await_return(promise, answer.data(), &size, nullptr) != 0) return;
                    require(size <= answer.size(), "an answer fits its buffer");
                    fuzz::look_at(answer.data(), size);
                };
                break;
            case 2:
                promise = client().async_signal("ask", 3, 2000);
                wait = [promise] { client().Proxy_signal::await_return(promise, nullptr); };
                break;
            case 3:
                promise = client().Proxy_event::async_link(2000);
                wait = [promise] { client().Proxy_event::await_link_return(promise, nullptr); };
                break;
            case 4:
            case 5:
                promise = client().Proxy_information::async_link(_kind == 4, 2000);
                wait = [promise] { client().Proxy_information::await_link_return(promise, nullptr); };
                break;
            case 6:
                promise = client().Proxy_command::async_link(2000);
                wait = [promise] { client().Proxy_command::await_link_return(promise, nullptr); };
                break;
            default:
                return;
        }
        require(promise->key.err == 0, "a connected client can ask");
        waits = true;
        const auto task = [this, wait] {
            wait();
            waits = false;
        };
        require(helper().eproc_send(task, 0) == 0, "one wait at a time");
        fuzz::until([promise] { return net::is_waited_for(promise); }, "a wait begins");
    }
    Waiter(const Waiter&) = delete;
    ~Waiter() {
        fuzz::until([this] { return !waits; }, "a wait ends");
    }

private:
    using Tasks = Kestrane::Nonshared_pipe<std::function<void()>>;
    /// Whose tasks a thread does that lives as long as the process: to make one takes longer than an input.
    static Tasks& helper() {
        static Tasks& tasks = [] {
            auto& made = *new Tasks(1);
            std::thread([&made] {
                for (std::function<void()> task; made.eproc_receive(&task) == Tasks::success;) task();
            }).detach();
            return std::ref(made);
        }();
        return tasks;
    }

    std::atomic<bool> waits{false};
};

/// What the client does meanwhile; the low bits are the kind of the `Waiter`.
enum Does : std::uint8_t { links = 8, links_by_tcp = 16, writes = 32, unlinks = 64, is_reset = 128 };

/// All that the server says, to the end of the connection.
void talk(fuzz::Input* _in, net::Raw_connection _connection) {
    const auto form = _in->byte() % fuzz::form_count;
    const std::uint8_t cuts = _in->byte();
    const std::uint8_t does = _in->byte();
    const net::Bytes hello = _connection.read(fuzz::c_opening);
    require(hello.size() == fuzz::c_opening, "a client opens");
    const auto consumed = [] {
        fuzz::until_read([](const auto& _record) { return _record.remote_addr.port == server().port(); });
    };
    const auto end = [&] {
        if ((does & is_reset) != 0) return _connection.reset();
        ::shutdown(_connection.fd, SHUT_WR);
        fuzz::check_messages(_connection.read(1 << 16), 0);
    };
    if (form == fuzz::bare) {
        fuzz::send_in_pieces(_connection, _in->rest(), cuts, consumed);
        consumed();
        return end();
    }
    _connection.send(net::opening(server().port(), static_cast<std::uint16_t>(hello[1020] | hello[1021] << 8)));
    client().until_connected();
    const Msg_num first = client().ask();
    if ((does & links) != 0) client().link((does & links_by_tcp) != 0);
    const Waiter waiter(does % 8);
    fuzz::send_in_pieces(_connection, form == fuzz::opened ? _in->rest() : fuzz::messages(_in, 0, first), cuts,
                         consumed);
    consumed();
    fuzz::until([] { return gp_processor->test_empty(); }, "messages are processed");
    if ((does & writes) != 0) static_cast<void>(client().Proxy_command::write("value", 5));
    if ((does & unlinks) != 0) client().unlink_all();
    end();
}

void run(fuzz::Input _in) {
    client().connect(Addr(c_loopback_ip, server().port()));
    talk(&_in, server().accept());
    fuzz::until([] { return gp_processor->test_empty(); }, "messages are processed");
    require(client().stop() == 0, "a client stops");
    // The next beat may have connected it again already.
    while (server().readable(0)) server().accept();
}

/// A second answer to one request, and the share of the waiters in the loss of a server that the pipe has no room for.
bool is_lost(const Packet& _pkt) {
    const EMsg type = _pkt.get_msg_type();
    return (static_cast<std::uint8_t>(type) >= 32 && get_return_type(type) != type) ||
           (type == EMsg::ctrl && _pkt.header.code == c_tcp_disconnected_from_server);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* _data, std::size_t _size) {
    static fuzz::Invariants& invariants = [] {
        fuzz::start_runtime();
        for (int i = 0; i < 3; ++i) run(fuzz::Input(nullptr, 0));
        return std::ref(*new fuzz::Invariants(is_lost));
    }();
    run(fuzz::Input(_data, _size));
    invariants.check();
    return 0;
}
