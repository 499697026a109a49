/// @file
#pragma once

#include <set>

#include "Vorn/SDK/Stub/links.h"
#include "Vorn35/Stub_event.h"

namespace Vorn35 {

using evt_connections_t = std::set<Addr>;

/// Service side of an event.
class _Stub_event final : public _Linked_method {
public:
    _Stub_event(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface, Stub_event* _mp);
    /// The owner is being destroyed: leaves its table.
    void leave_table();

    /// `mutex_01` shared.
    Error event(const void* _buffer_, Pksize _size);

private:
    Error ask_application(const Packet* _request) override;
    void tell_application(Addr _client, Error _error) override;
    std::vector<Addr> linked() const override { return {connections.begin(), connections.end()}; }
    EMsg disconnect_type(Addr _client) const override;
    bool enter(const Packet* _request) override { return connections.insert(_request->get_src()).second; }
    void erase(Addr _client) override { connections.erase(_client); }
    void erase_all() override { connections.clear(); }

    evt_connections_t connections;  ///< Guarded by `connections_mutex`.
    Stub_event* const mp;
};

}  // namespace Vorn35
