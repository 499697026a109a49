// What a connection sends to a service. An input is a form, how it is cut, and the bytes.
#include "fuzz/support/objects.h"

namespace {

using namespace Vorn35;
using fuzz::require;
using net::operator+;

fuzz::Service& service() {
    static fuzz::Service& object = *new fuzz::Service;
    return object;
}

void run(fuzz::Input _in) {
    const auto form = _in.byte() % fuzz::form_count;
    const std::uint8_t cuts = _in.byte();
    const bool unlinks = (cuts & 1) != 0;
    const bool resets = (cuts & 64) != 0;
    net::Raw_client client(service().port);
    const std::uint16_t port = client.port();
    net::Bytes stream = form == fuzz::bare ? net::Bytes{} : net::opening(port, service().port);
    stream = stream + (form == fuzz::composed ? fuzz::messages(&_in, port, 1) : _in.rest());

    const auto consumed = [port] {
        fuzz::until_read([port](const auto& _record) { return _record.remote_addr.port == port; });
    };
    fuzz::send_in_pieces(client, stream, cuts, consumed);
    consumed();
    fuzz::until([] { return gp_processor->test_empty(); }, "messages are processed");
    service().tell();
    if (unlinks) service().unlink_all();
    if (resets) return client.reset();
    ::shutdown(client.fd, SHUT_WR);
    fuzz::check_messages(client.read(1 << 17), fuzz::c_opening);
}

/// The share of the waiters in the loss of a server that the pipe has no room for.
bool is_lost(const Packet& _pkt) {
    return _pkt.get_msg_type() == EMsg::ctrl && _pkt.header.code == c_tcp_disconnected_from_server;
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
