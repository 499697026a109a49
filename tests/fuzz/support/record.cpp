// Makes the seeds: lets a client use a service through a forwarder that keeps what goes by, and writes it down as inputs
// of the fuzzers. Run in a lab, with the folder of the corpora.
#include <filesystem>
#include <fstream>

#include "fuzz/support/objects.h"
#include "net/support/kinds.h"

namespace {

using namespace Vorn35;
using fuzz::Input;
using net::Bytes;
using net::operator+;

std::filesystem::path g_corpora;

void write(const char* _fuzzer, const std::string& _name, const Bytes& _bytes) {
    std::filesystem::create_directories(g_corpora / _fuzzer);
    std::ofstream(g_corpora / _fuzzer / _name, std::ios::binary)
        .write(reinterpret_cast<const char*>(_bytes.data()), static_cast<std::streamsize>(_bytes.size()));
}

/// The messages of a stream as `fuzz::message` reads them.
Bytes compose(const Bytes& _stream, std::uint16_t _first_num, const Bytes& _before_each = {}) {
    Bytes made;
    for (std::size_t at = fuzz::c_opening; at < _stream.size();) {
        Header header;
        std::memcpy(static_cast<void*>(&header), &_stream[at], sizeof header);
        const auto from = _stream.begin() + static_cast<std::ptrdiff_t>(at + sizeof header);
        const auto num = static_cast<std::uint8_t>(header.num - _first_num);
        made = made + _before_each +
               Bytes{header.error != 0 ? std::uint8_t{fuzz::own_error} : std::uint8_t{0},
                     static_cast<std::uint8_t>(header.type), static_cast<std::uint8_t>(header.code), num};
        if (header.error != 0) made = made + net::number(static_cast<std::uint32_t>(header.error), 4);
        made = made + net::number(header.size, 1) + Bytes(from, from + header.size);
        at += sizeof header + header.size;
    }
    return made;
}

/// Bytes of one direction.
class Kept {
public:
    void add(const Bytes& _bytes) {
        const std::lock_guard lock(mutex);
        bytes.insert(bytes.end(), _bytes.begin(), _bytes.end());
    }
    Bytes all() const {
        const std::lock_guard lock(mutex);
        return bytes;
    }

private:
    mutable std::mutex mutex;  // guards `bytes`
    Bytes bytes;
};

void forward(const net::Raw_socket& _from, const net::Raw_socket& _to, Kept* _kept) {
    Bytes buffer(4096);
    for (;;) {
        const ssize_t count = ::recv(_from.fd, buffer.data(), buffer.size(), 0);
        if (count <= 0) break;
        const Bytes part(buffer.begin(), buffer.begin() + count);
        _kept->add(part);
        _to.send(part);
    }
    ::shutdown(_to.fd, SHUT_WR);
}

/// One connection, on which `_use` is done; it returns when the service has said that many bytes after its opening.
template <class Use>
void record(const std::string& _name, fuzz::Service& _service, std::uint8_t _asked, Use _use) {
    const net::Raw_server server;
    auto& client = *new fuzz::Client;
    client.connect(Addr(c_loopback_ip, server.port()));
    const net::Raw_connection near = server.accept();
    const net::Raw_client far(_service.port);
    Kept asked;
    Kept said;
    // The opening says which port was dialled, and by that port the service is found.
    Bytes hello = near.read(fuzz::c_opening - 2);
    near.read(2);
    hello = hello + net::number(_service.port, 2);
    asked.add(hello);
    far.send(hello);
    std::thread there([&] { forward(near, far, &asked); });
    std::thread back([&] { forward(far, near, &said); });
    client.until_connected();
    const auto first = static_cast<std::uint16_t>(client.ask());
    _use(client, [&](std::size_t _bytes) {
        fuzz::until([&] { return said.all().size() >= fuzz::c_opening + 23 + _bytes; }, "the service answers");
    });
    client.stop();
    there.join();
    back.join();

    const Bytes request = asked.all();
    const Bytes answer = said.all();
    const auto after_opening = [](const Bytes& _stream) {
        return Bytes(_stream.begin() + fuzz::c_opening, _stream.end());
    };
    if (_asked == 1) {
        write("accepted", _name + ".bare", Bytes{fuzz::bare, 0} + request);
        write("client", _name + ".bare", Bytes{fuzz::bare, 0, 0} + answer);
        write("datagrams", _name, compose(request, first, {4 | 8}));  // composed, to the service
    }
    write("accepted", _name + ".opened", Bytes{fuzz::opened, 7} + after_opening(request));
    write("accepted", _name + ".composed", Bytes{fuzz::composed, 0} + compose(request, 1));
    write("client", _name + ".opened", Bytes{fuzz::opened, 7, 0} + after_opening(answer));
    write("client", _name + ".composed", Bytes{fuzz::composed, 0, _asked} + compose(answer, first));
    write("values", _name,
          Bytes(answer.begin() + fuzz::c_opening, answer.begin() + fuzz::c_opening + 20) +
              net::hex("77 be 9f 1a 2f dd 24 40"));
}

}  // namespace

int main(int, char** _arguments) {
    g_corpora = _arguments[1];
    fuzz::start_runtime();
    auto& service = *new fuzz::Service;
    Msg_num num = 0;

    record("call", service, 1, [&](fuzz::Client& _client, auto _answered) {
        const Promise_ promise = _client.async_call("ask", 3, 0.2);
        _client.delegate_call(&num, "\xEE", 1, 20);
        _answered(43);
        _client.Proxy_call::await_return(promise, nullptr, nullptr, nullptr);
    });
    record("signal", service, 2, [&](fuzz::Client& _client, auto _answered) {
        const Promise_ promise = _client.async_signal("ask", 3, 0.2);
        _client.delegate_signal(&num, "\xEE", 1, 20);
        _answered(40);
        _client.Proxy_signal::await_return(promise, nullptr);
    });
    record("event", service, 3, [&](fuzz::Client& _client, auto _answered) {
        _client.Proxy_event::delegate_link(&num, 2000);
        fuzz::until([&] { return _client.Proxy_event::is_linked(); }, "a link");
        service.event("event", 5);
        _answered(45);
        _client.Proxy_event::unlink();
    });
    for (const bool by_tcp : {true, false}) {
        record(by_tcp ? "information_tcp" : "information_udp", service, by_tcp ? 4 : 5,
               [&](fuzz::Client& _client, auto _answered) {
                   _client.Proxy_information::delegate_link(&num, by_tcp, 2000);
                   fuzz::until([&] { return _client.Proxy_information::is_linked(); }, "a link");
                   service.Stub_information::write("value", 5);
                   _answered(by_tcp ? 45 : 20);
                   service.unlink_all();
                   _answered(by_tcp ? 65 : 40);
               });
    }
    record("command", service, 6, [&](fuzz::Client& _client, auto _answered) {
        _client.Proxy_command::delegate_link(&num, 2000);
        fuzz::until([&] { return _client.Proxy_command::is_linked(); }, "a link");
        _client.Proxy_command::write("value", 5);
        _client.Proxy_command::unlink();
        _client.ask();
        _answered(43);
    });

    // What goes as datagrams, heard by further sockets of their ports. Way 0: from the service; 1: to the directory.
    const auto heard = [](const net::Raw_socket& _socket) {
        Bytes bytes(256);
        bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(::recv(_socket.fd, bytes.data(), bytes.size(), 0), 0)));
        return Bytes{static_cast<std::uint8_t>(bytes.size())} + bytes;
    };
    write("datagrams", "directory", Bytes{1} + heard(net::datagram_socket(c_directory_port)));
    const net::Raw_socket hears = net::datagram_socket(service.port);
    service.broadcast("datagram", 8);
    write("datagrams", "broadcast", Bytes{0} + heard(hears));
    std::_Exit(0);  // the runtime's threads still run
}
