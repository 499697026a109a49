// Datagrams to the port of a service, where its client in this process hears them, too, and to that of the directory.
// An input is a number of datagrams, each with its own way to be made.
#include "fuzz/fuzz.h"

namespace {

using namespace Vorn35;
using fuzz::require;

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
struct Scene {
    // A full pipe refuses some values, so how many a client would keep is not certain.
    Scene() { client.values.set_history_size(0); }

    /// As it was before the first input: names forgotten, forged links gone, true ones there.
    void stand() {
        {
            const Exclusive_hold hold;
            gp_processor->named_remote_stubes.clear();
        }
        if (++inputs % 16 == 0) service.unlink_all();
        while (!client.is_connected()) {
            // It may have believed that the connection was lost, or a full pipe has refused the notice of it.
            static_cast<void>(client.stop());
            require(client.start(Addr(::inet_addr(c_service_ip), service.port)) == 0, "a client starts");
            for (int i = 0; i < 2000 && !client.is_connected(); ++i) ::usleep(1000);
        }
        while (!client.is_linked()) {
            client.link(false);
            // Asked again only when all is over: an unlink may have come after the question.
            fuzz::until([this] { return client.is_linked() || fuzz::is_quiet(); }, "links are answered");
            for (int i = 0; i < 1000 && !client.is_linked(); ++i) ::usleep(1000);
        }
    }
    void run(fuzz::Input _in) {
        Addr here;
        Addr there;
        require(client.get_address(&here, &there) == 0, "a client has an address");
        for (int i = 0; i < 12 && !_in.empty(); ++i) {
            const std::uint8_t way = _in.byte();
            fuzz::Bytes bytes;
            if ((way & 16) != 0) {
                bytes = net::Wire_message{3, c_directory_code, 0, _in.bytes(_in.byte())}.bytes();
            } else if ((way & 4) != 0) {
                // To the service by its gate port, which is the client's own.
                bytes = fuzz::message(&_in, (way & 8) != 0 ? here.port : Port{0}, 1).bytes();
            } else {
                bytes = _in.bytes(_in.byte());
            }
            const auto& from = (way & 2) != 0 ? as_client : as_service;
            const auto to = net::socket_address((way & 1) != 0 ? c_directory_port : service.port);
            ::sendto(from.fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
        }
        fuzz::until([] { return fuzz::is_quiet(); }, "datagrams are taken");
        service.tell();
    }

    fuzz::Service service;
    fuzz::Client client;
    const net::Raw_socket as_service = sender(c_service_ip, service.port);
    const net::Raw_socket as_client = sender("127.0.0.1", 0);
    unsigned inputs = 0;
};

}  // namespace

void fuzz::run(Input _in) {
    static Scene& scene = *new Scene;
    scene.stand();
    scene.run(_in);
}
