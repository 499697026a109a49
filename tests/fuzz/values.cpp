// Header and times as properties: an input is a header as it stands on the wire, and a time.
#include <cmath>
#include <limits>

#include "Vorn/struct.h"
#include "Vorn35/vorn_error.h"
#include "fuzz/support/input.h"

namespace {

using namespace Vorn35;
using fuzz::require;

std::uint16_t word_of(Packet_time _time) {
    std::uint16_t word = 0;
    std::memcpy(&word, &_time, sizeof word);
    return word;
}

void check_encoding(double _seconds) {
    const double kept = Packet_time(_seconds).get_time();
    require(std::isfinite(kept) && kept >= 0, "a time that travels is finite");
    require(word_of(Packet_time(kept)) == word_of(Packet_time(_seconds)), "what was encoded once stays as it is");
    if (!(_seconds >= 0x1p-32)) {
        require(Packet_time(_seconds).is_zerotime() && kept == 0, "too short, negative or no number: 0");
    } else if (_seconds >= 0x1p31) {
        require(Packet_time(_seconds).is_infinite() && kept == 4290772992.0, "too long: infinite");
    } else {
        require(kept <= _seconds && kept > _seconds * (1 - 0x1p-9), "encoding truncates below the tenth bit");
    }
}

/// From 2^31 seconds on, and no encoder makes such a word, a time turns infinite. No other grows.
bool falls(double _from, double _to) {
    return _to <= _from || (_from >= 0x1p31 && _to == 4290772992.0);
}

/// Any word decodes, also one that no encoder makes, and to what its parts say.
void check_decoding(Packet_time _time) {
    const double seconds = _time;
    require(seconds == _time.man / 1024.0 * std::pow(2.0, int{_time.exp} - 31), "a time is its mantissa and exponent");
    require(falls(seconds, Packet_time(seconds)), "a hop never lengthens a time");
}

/// What a switch changes of each type, the unit tests tell; none touches what it does not know.
void check_switch(Packet _pkt, bool (*_switch)(Packet*, Error), Error _error) {
    const Header before = _pkt.header;
    const bool changed = _switch(&_pkt, _error);
    require(changed == (_pkt.header.type != before.type), "a switch knows the types that it changes");
    require(changed || std::memcmp(&_pkt.header, &before, sizeof before) == 0, "and leaves the others alone");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* _data, std::size_t _size) {
    fuzz::Input in(_data, _size);
    Packet pkt{};
    const net::Bytes wire = in.bytes(sizeof(Header));
    if (!wire.empty()) std::memcpy(pkt.get_header(), wire.data(), wire.size());
    const auto seconds = in.number<double>();
    const auto error = in.number<Error>();
    pkt.set_to_stub(Addr(in.number<IP>(), in.word()), Addr(in.number<IP>(), in.word()));
    // Its gate port is the fuzzer's again.
    if (!wire.empty()) std::memcpy(pkt.get_header(), wire.data(), wire.size());

    check_encoding(seconds);
    check_decoding(pkt.header.limit);
    check_decoding(pkt.header.time);

    pkt.determine_arrival_clock(std::chrono::steady_clock::now());
    require(pkt.packet_limit_time == pkt.header.limit && pkt.packet_live_time == pkt.header.time, "times arrive");
    require(pkt.get_packet_size() == pkt.get_total_size() - 44 && pkt.get_packet_size() >= 20, "no size wraps");
    check_switch(
        pkt, [](Packet* _pkt, Error) { return _pkt->backward_return_switch(); }, error);
    check_switch(
        pkt, [](Packet* _pkt, Error _error) { return _pkt->backward_error_switch(_error); }, error);
    check_switch(
        pkt, [](Packet* _pkt, Error _error) { return _pkt->forward_error_switch(_error); }, error);

    const Packet arrived = pkt;
    const bool over = pkt.update_packet_time_and_return_timeout();
    require(over == (pkt.packet_limit_time <= 0), "a limit that is used up is a timeout");
    require(falls(arrived.header.limit, pkt.header.limit), "a limit only falls");
    require(pkt.packet_live_time >= arrived.packet_live_time, "life grows");
    require(falls(pkt.packet_live_time, pkt.header.time), "and is told no longer than it is");

    const std::uint8_t type = static_cast<std::uint8_t>(pkt.header.type);
    require(trans_listen_type_to_transaction(pkt.header.type) <= c_datagram_transaction, "a type has a family or none");
    const EMsg request = get_return_type(pkt.header.type);
    require(request == EMsg::call || static_cast<std::uint8_t>(request) == (type & 0xF8), "an answer has its request");
    pkt.set_swap_acktype();
    require(static_cast<std::uint8_t>(pkt.header.type) == type || (type & 7) == 1, "only a return is acknowledged");
    require(get_err_str(error) != nullptr && *get_err_str(error) != 0, "every error has a name");
    return 0;
}
