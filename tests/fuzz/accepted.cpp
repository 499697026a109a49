// What a connection sends to a service. An input is a form, how it is cut, and the bytes.
#include "fuzz/support/objects.h"

namespace {

using namespace Vorn35;
using net::operator+;

void run(fuzz::Input _in) {
    static fuzz::Service& service = *new fuzz::Service;
    const auto form = _in.byte() % fuzz::form_count;
    const std::uint8_t cuts = _in.byte();
    const bool unlinks = (cuts & 1) != 0;
    const bool resets = (cuts & 64) != 0;
    net::Raw_client client(service.port);
    const std::uint16_t port = client.port();
    const net::Bytes opening = form == fuzz::bare ? net::Bytes{} : net::opening(port, service.port);

    fuzz::send_in_pieces(client, opening + (form == fuzz::composed ? fuzz::messages(&_in, port, 1) : _in.rest()), cuts,
                         [port](const auto& _record) { return _record.remote_addr.port == port; });
    fuzz::until_processed();
    service.tell();
    if (unlinks) service.unlink_all();
    if (resets) return client.reset();
    ::shutdown(client.fd, SHUT_WR);
    fuzz::check_messages(client.read(1 << 17), fuzz::c_opening);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* _data, std::size_t _size) {
    return fuzz::test_one(run, [](const Packet&) { return false; }, {_data, _size});
}
