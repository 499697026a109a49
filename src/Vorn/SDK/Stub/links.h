/// @file
/// What event, command and information share on the service side: the links of clients.
#pragma once

#include <vector>

#include "Vorn/SDK/Stub/_vorn_method.h"
#include "Vorn/mutex.h"

namespace Vorn35 {

/// A member that clients link to. The kind keeps its own record of its clients; this is how links come and
/// go.
class _Linked_method : public _vorn_method {
public:
    // On a listener with `mutex_01` shared.

    void adapter_connect(Token _token);
    /// The client leaves. The application hears of it also when there was no link.
    void adapter_shutdown(Token _token);
    /// The client's connection is gone. Nothing happens when there was no link.
    void adapter_shutdown(Addr _client, Token _token);

    // `mutex_01` shared. The application asked for it, so it does not hear of it.

    void disconnect_one_client_object(Addr _client);
    /// @param _send false: nobody is told, and the object need not be started; `mutex_01` may be exclusive
    /// then.
    void disconnect_all_client_object(bool _send);

protected:
    using _vorn_method::_vorn_method;
    ~_Linked_method() = default;

    /// A message of its own number and without a limit to one client; failures are dropped. `mutex_01`
    /// shared.
    /// @param _data_mm payload, which the message shares; 0 for none.
    void send_to(Addr _client, EMsg _type, ks_clock_t _clock, Pksize _size, mm_t _data_mm);

    /// Guards the kind's record of its clients. Taken after `mutex_01` and after the mutexes of a value.
    Mutex<lock_order::links> connections_mutex;

private:
    // The application's part; no lock held.

    virtual Error ask_application(const Packet* _request) = 0;
    virtual void tell_application(Addr _client, Error _error) = 0;

    // The kind's record.

    virtual std::vector<Addr> linked() const VORN35_REQUIRES(connections_mutex) = 0;
    /// Type of the message that tells a client of the end of its link; `EMsg::null` when it has none.
    virtual EMsg disconnect_type(Addr _client) const VORN35_REQUIRES(connections_mutex) = 0;
    /// @return the client had no link before.
    virtual bool enter(const Packet* _request) VORN35_REQUIRES(connections_mutex) = 0;
    virtual void erase(Addr _client) VORN35_REQUIRES(connections_mutex) = 0;
    virtual void leave(const Packet* _shutdown) VORN35_REQUIRES(connections_mutex) { erase(_shutdown->get_src()); }
    virtual void lose(Addr _client) VORN35_REQUIRES(connections_mutex) { erase(_client); }
    virtual void erase_all() VORN35_REQUIRES(connections_mutex) = 0;

    /// A link has ended: waits until no other callback of the kind runs for it. `mutex_01` shared; a wait gives it up.
    /// @param _client null: every client.
    virtual void wait_for_callbacks(const Addr* /*_client*/) {}

    void send_disconnect(Addr _client) VORN35_REQUIRES(connections_mutex);
    void report_unlink(Addr _client, Error _error);
};

}  // namespace Vorn35
