/// @file
#pragma once

#include <map>
#include <set>

#include "Vorn/SDK/Stub/links.h"
#include "Vorn/SDK/value_buffer.h"
#include "Vorn35/Stub_information.h"

namespace Vorn35 {

using inf_conns_t = std::map<Addr, bool>;
using tcp_nodes_t = std::set<Addr>;
using udp_nodes_t = std::map<Addr, IP>;
using mcast_ifs_t = std::map<IP, int>;

/// Service side of an information.
class _Stub_information final : public _Linked_method, public Value_buffer {
public:
    _Stub_information(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface, Stub_information* _mp);
    /// The owner is being destroyed: leaves its table.
    void leave_table();

    Error post(Pksize _size) override;

private:
    Error ask_application(const Packet* _request) override;
    void tell_application(Addr _client, Error _error) override;
    std::vector<Addr> linked() const override;
    EMsg disconnect_type(Addr _client) const override;
    bool enter(const Packet* _request) override;
    void erase(Addr _client) override;
    void leave(const Packet* _shutdown) override;
    Admission admit(const Packet* _request, Token _answer) override;
    void erase_all() override;
    void erase_udp_node(Addr _client);

    bool owner_is_created() const override;
    void address_value(Packet* _pkt, Pksize _size) override;
    Error send_value(mm_t _value_mm, double _limit) override;
    /// One datagram for each interface that has an unreliable client.
    void send_multicast(mm_t _value_mm, double _limit);
    /// @param _is_kept even if it is droppable and other messages wait.
    void send_tcp(Addr _client, EMsg _type, IP _mct_if, mm_t _value_mm, double _limit, bool _is_kept = false);

    // Guarded by `connections_mutex`.
    inf_conns_t connections;  ///< Every linked client, and whether it is reliable.
    tcp_nodes_t tcp_nodes;    ///< Reliable clients.
    udp_nodes_t udp_nodes;    ///< Unreliable clients, each with the local interface of its connection.
    mcast_ifs_t mcast_ifs;    ///< How many links each interface serves. One that is asked for twice counts twice.
    Stub_information* const mp;
};

}  // namespace Vorn35
