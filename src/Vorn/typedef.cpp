#include "Vorn/typedef.h"

namespace Vorn35 {

namespace {

/// Which steps of a family take part in ordering: bit n stands for base + n.
struct Ordering {
    Transaction transaction;
    std::uint8_t plain;
    std::uint8_t delegate;
};

// Indexed by the high nibble, from 2. A plain return is handled by its waiter and never reaches a listener,
// so steps 1 and 2 of the plain forms take no part; nor do the acknowledgements of signals and calls.
constexpr Ordering c_ordering[] = {
    {2, 0b0001001, 0b01111},  // signal
    {1, 0b0001001, 0b01111},  // call
    {3, 0b0111001, 0b11111},  // event
    {4, 0b1111001, 0b11111},  // command
    {5, 0b0111001, 0b11111},  // information by TCP
    {5, 0b1011001, 0b11111},  // information by UDP
};

}  // namespace

Transaction trans_listen_type_to_transaction(EMsg _type) {
    if (_type == EMsg::datagram) return 6;
    const unsigned number = static_cast<unsigned>(_type);
    if (number < 32 || number > 124) return 0;
    const Ordering& ordering = c_ordering[number / 16 - 2];
    const unsigned steps = (number & 8) != 0 ? ordering.delegate : ordering.plain;
    return (steps >> (number & 7) & 1) != 0 ? ordering.transaction : Transaction{0};
}

EMsg get_return_type(EMsg _type) {
    switch (_type) {
        case EMsg::signal_return:
        case EMsg::signal_error_return:
            return EMsg::signal;
        case EMsg::event_confirm:
        case EMsg::event_reject:
            return EMsg::event_connect;
        case EMsg::command_confirm:
        case EMsg::command_reject:
            return EMsg::command_connect;
        case EMsg::information_tcp_confirm:
        case EMsg::information_tcp_reject:
            return EMsg::information_tcp_connect;
        case EMsg::information_udp_confirm:
        case EMsg::information_udp_reject:
            return EMsg::information_udp_connect;
        default:
            return EMsg::call;
    }
}

}  // namespace Vorn35
