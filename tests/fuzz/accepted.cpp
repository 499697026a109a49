// What a connection sends to a service. An input is a form, how it is cut, and the bytes.
#include "fuzz/fuzz.h"

void fuzz::run(Input _in) {
    static fuzz::Service& service = *new fuzz::Service;
    const int form = _in.byte() % 3;
    const std::uint8_t cuts = _in.byte();
    net::Raw_client client(service.port);
    const fuzz::Bytes opening = form == fuzz::bare ? fuzz::Bytes{} : net::opening(client.port(), service.port);
    fuzz::send_in_pieces(client, net::operator+(opening, fuzz::stream(&_in, form, client.port(), 1)), cuts);
    service.tell();
    if ((cuts & 1) != 0) service.unlink_all();
    fuzz::end(&client, (cuts & 64) != 0, fuzz::c_opening);
}
