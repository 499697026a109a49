/// @file
/// What event, information and command share on the client side: the link.
#pragma once

#include <atomic>

#include "Vorn/SDK/Proxy/_Proxy_method.h"
#include "Vorn/mutex.h"
#include "Vorn35/Promise.h"

namespace Vorn35 {

/// A member that links to a member of the service. A link ends with its connection. With `Runtime_options::restore_links` the
/// runtime asks for it again, once on each next connection, until it stands or is refused, or the application unlinks.
class _Linking_method : public _Proxy_method {
public:
    bool is_linked() const { return connect_state; }

    // The application's operations; `mutex_01` shared, but for `await_link_return`, which takes it itself.

    Error delegate_link(EMsg _type, Msg_num* _msg_num_, double _limit_time);
    Promise_ async_link(EMsg _type, double _limit_time);
    Error await_link_return(Promise_ _promise_, double* _time_);
    /// Ends the link without a callback.
    /// @param _send false: sends no message; the caller may hold `mutex_01` exclusive then.
    void disconnect(bool _send);

    // On a listener with `mutex_01` shared.

    /// A connection is up: asks for the link that ended with an earlier one.
    void restore();
    /// The service has ended the link, or the connection is gone.
    void adapter_disconnect(Token _token);
    void adapter_delegate_on_link(Token _token);

protected:
    using _Proxy_method::_Proxy_method;
    ~_Linking_method() = default;

    /// The connection of this answer is known to be lost, or another one has replaced it. `mutex_01` shared.
    bool is_of_the_past(const Packet* _answer) const;
    /// A request was sent, and its answer has not come, or the application does not know it yet.
    bool is_asking() const { return asking; }
    /// The notice of a loss, but of an earlier connection than the link's.
    bool is_late_loss(const Packet* _notice);

    /// The link is established. Has no lock: two concurrent requests may both find it false and be sent.
    std::atomic<bool> connect_state{false};

private:
    /// Notes a request of the application, which replaces a restoration.
    void asked(EMsg _type, double _limit_time);
    /// Notes the answer to a restoration. True: `unlink` came first, and has ended the link at the service.
    bool is_overtaken(const Packet* _answer);
    void want(const Packet* _answer);
    std::atomic<bool> asking{false};

    static constexpr int c_none = -1;
    struct Restoration {
        bool is_wanted = false;  ///< The application has the link, or had it when its connection was lost.
        Port linked_over = 0;    ///< Our port of the connection over which the link was confirmed.
        EMsg type = EMsg::null;  ///< The last request of the application, in its `delegate_` form.
        double limit = 0;
        ks_clock_t asked_over{};  ///< The last connection over which `restore` asked.
        int number = c_none;      ///< Of its request, until the answer.
    };
    /// Held while the request is sent: `unlink` sees it either not sent or with its number.
    Mutex<lock_order::restoration> restoration_mutex;
    Restoration restoration VORN35_GUARDED_BY(restoration_mutex);

    // The application's part; no lock held.

    virtual void tell_link(Msg_num _msg_num, Error _err, double _time) = 0;
    virtual void tell_unlink(Error _err) = 0;

    // The kind's part; `mutex_01` shared.

    /// Whether the answer to a plain request confirms the link.
    virtual bool is_confirm(EMsg _type) const = 0;
    /// An answer to a request is in, and the link not yet up.
    /// @param _waited it answers a plain request.
    virtual void take_answer(const Packet*, bool) {}
    /// Type of the message by which the client leaves.
    virtual EMsg shutdown_type() const = 0;
    /// Local interface that this message carries.
    virtual IP shutdown_if() const { return c_loopback_ip; }
    virtual void begin_link() { connect_state = true; }
    /// The link is down. False: it was before.
    virtual bool end_link() { return connect_state.exchange(false); }
    /// The application knows that the link is up, or is about to learn it from `await_link_return`.
    virtual void link_has_begun() {}

    void stand(const Packet* _answer);
};

}  // namespace Vorn35
