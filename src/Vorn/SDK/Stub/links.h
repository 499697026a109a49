/// @file
/// What event, command and information share on the service side: the links of clients.
#pragma once

#include <vector>

#include "Vorn/SDK/Stub/_vorn_method.h"
#include "Vorn/mutex.h"

namespace Vorn35 {

/// A member that clients link to: how links begin and end. Each kind keeps its own record of its clients.
class _Linked_method : public _vorn_method {
public:
    // On a listener with `mutex_01` shared.

    void adapter_connect(Token _token);
    /// The client leaves. Calls `on_unlink` even if there was no link.
    void adapter_shutdown(Token _token);
    /// The client's connection was lost. Does nothing if there was no link.
    void adapter_shutdown(Addr _client, Token _token);

    // `mutex_01` shared. The application requests these, so `on_unlink` is not called.

    void disconnect_one_client_object(Addr _client);
    /// @param _send false: sends no message, and the object need not be started; `mutex_01` may be exclusive then.
    void disconnect_all_client_object(bool _send);

protected:
    using _vorn_method::_vorn_method;
    ~_Linked_method() = default;

    /// Sends a message with a new number and without a limit to one client; ignores failures. `mutex_01` shared.
    /// @param _data_mm payload, which the message shares; 0 for none.
    void send_to(Addr _client, EMsg _type, ks_clock_t _clock, Pksize _size, mm_t _data_mm);

    struct Admission {
        bool entered = false;  ///< The client had no link before.
        Error sent = 0;        ///< Of the answer.
    };
    Admission enter_and_answer(const Packet* _request, Token _answer);

    /// Guards the kind's record of its clients. Taken after `mutex_01` and after the mutexes of a value.
    Mutex<lock_order::links> connections_mutex;

private:
    // The application's part; no lock held.

    virtual Error ask_application(const Packet* _request) = 0;
    virtual void tell_application(Addr _client, Error _error) = 0;

    // The kind's record.

    virtual std::vector<Addr> linked() const VORN35_REQUIRES(connections_mutex) = 0;
    /// Type of the message that ends the link of a client; `EMsg::null` if it has no link.
    virtual EMsg disconnect_type(Addr _client) const VORN35_REQUIRES(connections_mutex) = 0;
    /// @return the client had no link before.
    virtual bool enter(const Packet* _request) VORN35_REQUIRES(connections_mutex) = 0;
    virtual void erase(Addr _client) VORN35_REQUIRES(connections_mutex) = 0;
    virtual void leave(const Packet* _shutdown) VORN35_REQUIRES(connections_mutex) { erase(_shutdown->get_src()); }
    virtual void lose(Addr _client) VORN35_REQUIRES(connections_mutex) { erase(_client); }
    virtual void erase_all() VORN35_REQUIRES(connections_mutex) = 0;

    /// Enters the link and sends the answer that confirms it.
    virtual Admission admit(const Packet* _request, Token _answer) { return enter_and_answer(_request, _answer); }

    /// A link has ended: waits until no other callback of the kind runs for it. `mutex_01` shared; a wait gives it up.
    /// @param _client null: every client.
    virtual void wait_for_callbacks(const Addr* /*_client*/) {}

    void send_disconnect(Addr _client) VORN35_REQUIRES(connections_mutex);
    void report_unlink(Addr _client, Error _error);
};

}  // namespace Vorn35
