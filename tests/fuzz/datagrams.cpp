// Datagrams to the port of a service, where its client in this process hears them, too, and to that of the directory.
// An input is a number of datagrams, each with its own way to be made.
#include "fuzz/support/objects.h"

namespace {

using namespace Vorn35;
using fuzz::require;

/// How one datagram is made.
enum Way : std::uint8_t {
    to_directory = 1,
    from_client = 2,  ///< Otherwise from the service.
    composed = 4,     ///< A header whose size is right; otherwise all bytes are the fuzzer's.
    to_service = 8,   ///< By its gate port, which is the client's own.
    directory = 16,   ///< A header of the directory, and a payload.
};
constexpr int c_most_datagrams = 12;

/// Where the client's service seems to be: an address that a sender can have without being in the way of the runtime's
/// socket for the same port.
constexpr const char* c_service_ip = "127.0.0.2";

net::Raw_socket sender(const char* _ip, Port _port) {
    net::Raw_socket made(::socket(AF_INET, SOCK_DGRAM, 0));
    made.set(SOL_SOCKET, SO_REUSEADDR, 1);
    const sockaddr_in here = net::socket_address(_port, _ip);
    require(::bind(made.fd, reinterpret_cast<const sockaddr*>(&here), sizeof here) == 0, "a sender has its address");
    return made;
}

/// A service, its client with all links, and one who sends datagrams as either of them.
class Scene {
public:
    Scene() : as_service(sender(c_service_ip, service.port)), as_client(sender("127.0.0.1", 0)) {
        client.Proxy_information::set_history_size(0);
    }

    /// As it was before the first input: names forgotten, forged links gone, true ones there.
    void stand() {
        {
            const Exclusive_hold hold;
            gp_processor->named_remote_stubes.clear();
        }
        if (++inputs % 16 == 0) service.unlink_all();
        if (!client.is_connected()) {
            static_cast<void>(client.stop());  // it may have believed that the connection was lost
            client.connect(Addr(::inet_addr(c_service_ip), service.port));
            client.until_connected();
        }
        const auto linked = [this] { return client.is_linked(); };
        while (!linked()) {
            client.link(false);
            // Asked again only when all is over: an unlink may have come after the question.
            fuzz::until([&] { return linked() || fuzz::is_quiet(); }, "links are answered");
            for (int i = 0; i < 1000 && !linked(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    void run(fuzz::Input _in) {
        Addr here;
        Addr there;
        require(client.get_address(&here, &there) == 0, "a client has an address");
        for (int i = 0; i < c_most_datagrams && !_in.empty(); ++i) {
            const std::uint8_t way = _in.byte();
            const Port gate = (way & to_service) != 0 ? here.port : Port{0};
            net::Bytes bytes;
            if ((way & directory) != 0) {
                bytes = net::Wire_message{3, c_directory_code, 0, _in.bytes(_in.byte())}.bytes();
            } else if ((way & composed) != 0) {
                bytes = fuzz::message(&_in, gate, 1).bytes();
            } else {
                bytes = _in.bytes(_in.byte());
            }
            send(bytes, (way & from_client) != 0 ? as_client : as_service,
                 (way & to_directory) != 0 ? c_directory_port : service.port);
        }
        pass(service.port);
        pass(c_directory_port);
        service.tell();
    }

private:
    static void send(const net::Bytes& _bytes, const net::Raw_socket& _from, Port _port) {
        const sockaddr_in to = net::socket_address(_port);
        ::sendto(_from.fd, _bytes.data(), _bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }
    /// What was sent to this port has been taken: a last datagram has come through. The pipe may refuse it.
    void pass(Port _port) {
        const std::uint64_t count = ++fences;
        net::Bytes payload(fuzz::c_fence_size);
        std::memcpy(payload.data(), &count, sizeof count);
        const net::Bytes fence = net::Wire_message{6, fuzz::c_member, 0, payload}.bytes();
        const auto passed = [this, count] { return client.fence == count; };
        for (int tries = 0; !passed(); ++tries) {
            require(tries < 1000, "a datagram gets through");
            send(fence, as_service, _port);
            // No further one while this one may still come: many would fill the pipe.
            fuzz::until([&] { return passed() || fuzz::is_quiet(); }, "datagrams are taken");
            for (int i = 0; i < 20000 && !passed(); ++i) std::this_thread::yield();
        }
    }

    fuzz::Service service;
    fuzz::Client client;
    const net::Raw_socket as_service;
    const net::Raw_socket as_client;
    std::uint64_t fences = 0;
    unsigned inputs = 0;
};

/// What is said to a connection that is closing: here, that the client of a late answer has stopped.
bool is_lost(const Packet& _pkt) {
    return _pkt.header.error == VORN_ERR_OBJECT_IS_NOT_EXIST_;
}

void run(fuzz::Input _in) {
    static Scene& scene = *new Scene;
    scene.stand();
    scene.run(_in);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* _data, std::size_t _size) {
    return fuzz::test_one(run, is_lost, {_data, _size});
}
