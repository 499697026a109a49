#include "Vorn/SDK/Stub/Information/_Stub_information.h"

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/SDK/member_table.h"
#include "Vorn/SDK/multicast_group.h"
#include "Vorn/options.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

namespace {

/// A larger value does not go by datagram.
constexpr Pksize c_max_multicast_size = 60000;

bool asks_for_tcp(const Packet* _request) {
    const EMsg type = _request->get_msg_type();
    return type == EMsg::information_tcp_connect || type == EMsg::delegate_information_tcp_connect;
}

}  // namespace

_Stub_information::_Stub_information(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface, Stub_information* _mp)
    : _Linked_method(_op_, _code, _b_interface), mp(_mp) {
    _op->add_information(code, this);
}

void _Stub_information::leave_table() {
    end_timer();
    _op->del_information(code);
}

Error _Stub_information::post(Pksize _size) {
    const Shared_hold hold;
    if (const Error failure = accept(_size); failure != 0) return failure;
    return syncs_at_post() ? sync(on_post) : VORN_ERR_NONE_;
}

bool _Stub_information::owner_is_created() const {
    return _op->is_created();
}

void _Stub_information::address_value(Packet* _pkt, Pksize _size) {
    const Port port = _op->get_port();
    _pkt->initialize_header(_size, 0, EMsg::information_udp, code, VORN_ERR_NONE_);
    _pkt->set_to_proxy(Addr(multicast_group(port, code), port), Addr(c_loopback_ip, port));
}

Error _Stub_information::send_value(mm_t _value_mm, double _limit) {
    const Wakeup_coalescing coalescing;
    const Lock_guard lock(connections_mutex);
    if (get_header(_value_mm)->get_data_size() <= c_max_multicast_size) {
        send_multicast(_value_mm, _limit);
    } else {
        for (const auto& [client, mct_if] : udp_nodes) {
            send_tcp(client, EMsg::information_udp, mct_if, _value_mm, _limit);
        }
    }
    for (const Addr client : tcp_nodes) {
        send_tcp(client, EMsg::information_tcp, c_loopback_ip, _value_mm, _limit);
    }
    return VORN_ERR_NONE_;
}

void _Stub_information::send_multicast(mm_t _value_mm, double _limit) {
    for (const auto& [mct_if, links] : mcast_ifs) {
        Token token;
        if (token.alloc_header() != 0) continue;
        dress(&token, _value_mm, EMsg::information_udp, mct_if, _limit);
        if (send_udp(token, token.get_header_packet()) != 0) token.free();
    }
}

_Stub_information::Admission _Stub_information::admit(const Packet* _request, Token _answer) {
    if (!g_options.current_values) return enter_and_answer(_request, _answer);
    Admission admission;
    with_current_value([&](mm_t _value_mm, double _limit) {
        admission = enter_and_answer(_request, _answer);
        if (admission.sent != 0 || _value_mm == 0) return;
        const bool by_tcp = asks_for_tcp(_request);
        send_tcp(_request->get_src(), by_tcp ? EMsg::information_tcp : EMsg::information_udp,
                 by_tcp ? c_loopback_ip : _request->get_mct_if(), _value_mm, _limit, true);
    });
    return admission;
}

void _Stub_information::send_tcp(Addr _client, EMsg _type, IP _mct_if, mm_t _value_mm, double _limit, bool _is_kept) {
    Token token;
    token.alloc_header_force();
    dress(&token, _value_mm, _type, _mct_if, _limit);
    token.get_header_packet()->set_to_proxy(_client, Addr(c_loopback_ip, _op->get_port()));
    if ((_is_kept ? _op->send_kept(token) : _op->send(token)) != 0) token.free();
}

Error _Stub_information::ask_application(const Packet* _request) {
    return mp->on_link(_request->get_src(), asks_for_tcp(_request), _request->packet_live_time,
                       _request->packet_limit_time);
}

void _Stub_information::tell_application(Addr _client, Error _error) {
    mp->on_unlink(_client, _error);
}

std::vector<Addr> _Stub_information::linked() const {
    std::vector<Addr> clients;
    for (const auto& [client, reliability] : connections) clients.push_back(client);
    return clients;
}

EMsg _Stub_information::disconnect_type(Addr _client) const {
    const auto found = connections.find(_client);
    if (found == connections.end()) return EMsg::null;
    return found->second ? EMsg::information_tcp_disconnect : EMsg::information_udp_disconnect;
}

bool _Stub_information::enter(const Packet* _request) {
    const Addr client = _request->get_src();
    const bool reliability = asks_for_tcp(_request);
    const bool is_new = connections.emplace(client, reliability).second;
    if (reliability) {
        tcp_nodes.insert(client);
    } else {
        udp_nodes.emplace(client, _request->get_mct_if());
        ++mcast_ifs[_request->get_mct_if()];
    }
    return is_new;
}

void _Stub_information::erase(Addr _client) {
    const auto found = connections.find(_client);
    if (found == connections.end()) return;
    if (found->second) {
        tcp_nodes.erase(_client);
    } else {
        erase_udp_node(_client);
    }
    connections.erase(found);
}

/// Only the plain form removes a reliable client. A client that leaves by the `delegate_` form deliberately keeps receiving
/// values until its connection ends.
void _Stub_information::leave(const Packet* _shutdown) {
    const Addr client = _shutdown->get_src();
    connections.erase(client);
    if (_shutdown->get_msg_type() == EMsg::information_tcp_shutdown) {
        tcp_nodes.erase(client);
    } else {
        erase_udp_node(client);
    }
}

void _Stub_information::erase_udp_node(Addr _client) {
    const auto node = udp_nodes.find(_client);
    if (node == udp_nodes.end()) return;
    const auto served = mcast_ifs.find(node->second);
    if (served != mcast_ifs.end() && --served->second == 0) mcast_ifs.erase(served);
    udp_nodes.erase(node);
}

void _Stub_information::erase_all() {
    connections.clear();
    tcp_nodes.clear();
    udp_nodes.clear();
    mcast_ifs.clear();
}

void _Stub::adapter_information_connect(Token _token) {
    _Stub_information* const information = find_member(informations, _token.get_header_packet()->header.code);
    information != nullptr ? information->adapter_connect(_token) : adapter_err_return(_token);
}

void _Stub::adapter_information_shutdown(Token _token) {
    _Stub_information* const information = find_member(informations, _token.get_header_packet()->header.code);
    if (information != nullptr) information->adapter_shutdown(_token);
}

void _Stub::shutdown_informations(Addr _client, Token _token) {
    for_each_member(informations,
                    [&](_Stub_information* _information) { _information->adapter_shutdown(_client, _token); });
}

void _Stub::release_informations() {
    for (const auto& [code, information] : informations) {
        information->disconnect_all_client_object(false);
        information->release_values();
    }
}

}  // namespace Vorn35
