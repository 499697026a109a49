/// @file
#pragma once

#include <atomic>
#include <map>
#include <memory>

#include "Vorn/SDK/History/value_queue.h"
#include "Vorn/SDK/Stub/links.h"
#include "Vorn35/Stub_command.h"

namespace Vorn35 {

/// What is kept for a linked client.
struct struct_cmd_obj_map_data {
    Value_queue history;
};

using cmd_connections_t = std::map<Addr, std::unique_ptr<struct_cmd_obj_map_data>>;

/// Service side of a command.
class _Stub_command final : public _Linked_method {
public:
    _Stub_command(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface, Stub_command* _mp);
    ~_Stub_command();

    /// On a listener with `mutex_01` shared.
    void adapter_sync(Token _token);

    /// `mutex_01` shared.
    Letter_case_ see_history(Addr _client, std::size_t _size);

    std::atomic<std::size_t> history_size{1};
    std::atomic<bool> use_on_sync{true};

private:
    Error ask_application(const Packet* _request) override;
    void tell_application(Addr _client, Error _error) override;
    std::vector<Addr> linked() const override;
    EMsg disconnect_type(Addr _client) const override;
    void enter(const Packet* _request) override;
    void erase(Addr _client) override { connections.erase(_client); }
    void lose(Addr _client) override;
    void erase_all() override { connections.clear(); }

    void sync(Token _token);

    cmd_connections_t connections;  ///< Guarded by `connections_mutex`, with all the histories.
    /// Lets one `on_sync` at a time run. Taken with no lock held, and only by dispatch: whoever has it may
    /// take `mutex_01` in any way, and a stop does not wait for it.
    Mutex<lock_order::on_sync> on_sync_mutex;
    Stub_command* const mp;
};

}  // namespace Vorn35
