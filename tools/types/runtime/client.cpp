#include "Vorn35/protobuf/Client.h"

#include <algorithm>
#include <limits>
#include <random>

#include "Vorn35/vorn_serial_parallel.h"
#include "Vorn35/vorn_utility.h"
#include "client_timer.h"
#include "envelope.h"
#include "requests.h"

namespace Vorn35::typed {

namespace {

using namespace std::chrono_literals;
using Time = std::chrono::steady_clock::time_point;

constexpr double c_link_limit = 1;  // seconds

/// About a second. Clients of one host that begin together must not repeat their requests together.
std::chrono::milliseconds a_while() {
    thread_local std::minstd_rand random{std::random_device()()};
    return std::chrono::milliseconds(std::uniform_int_distribution(800, 1200)(random));
}

}  // namespace

Client::Cancels::Cancels(Client& _client) : Proxy_signal(envelope::c_cancel_code, static_cast<const Proxy&>(_client)) {}

Client::Client(const char* _name) : name(_name), requests(std::make_shared<Requests>(*this)), cancels(*this) {}

Client::~Client() {
    stop();
    requests->forget_client();
}

Error Client::start(const char* _name) {
    return begin(_name, {});
}

Error Client::start(Addr _service) {
    return begin({}, _service);
}

Error Client::begin(std::string _name, Addr _service) {
    const std::lock_guard lock(mutex);
    if (is_wanted) return VORN_ERR_ALREADY_CREATED_;
    wanted = std::move(_name);
    service = _service;
    if (!wanted.empty() && Vorn35::get_address(wanted.c_str(), &service) == 0) service = {};
    if (service.port != 0) {
        if (const Error failure = Proxy::start(service); failure != 0) return failure;
    }
    is_wanted = true;
    unconnected_since = std::chrono::steady_clock::now();
    timer = Client_timer::get();
    requests->set_timer(timer);
    timer->wake(this, unconnected_since);
    return VORN_ERR_NONE_;
}

Error Client::stop() {
    std::shared_ptr<Client_timer> last;
    {
        const std::lock_guard lock(mutex);
        if (timer && timer->is_this_thread()) return VORN_ERR_BUSY_;
        // From here on the timer does not start the connection again.
        is_wanted = false;
    }
    if (stop_and_wait(std::numeric_limits<double>::max()) == VORN_ERR_BUSY_) {
        const std::lock_guard lock(mutex);
        is_wanted = timer != nullptr;
        return VORN_ERR_BUSY_;
    }
    {
        const std::lock_guard lock(mutex);
        last.swap(timer);
        forget_order();
    }
    if (last) {
        requests->set_timer(nullptr);
        last->remove(this);
    }
    requests->fail_all(VORN_ERR_IS_NOT_CREATED_);
    return VORN_ERR_NONE_;
}

Addr Client::address() {
    const std::lock_guard lock(mutex);
    return service;
}

bool Client::is_ready() {
    return is_connected() &&
           std::ranges::all_of(links, [](Link_base* _link) { return !_link->is_wanted || _link->stands(); });
}

bool Client::wait_until_ready(double _limit) {
    std::unique_lock lock(mutex);
    const auto limit = std::chrono::duration<double>(std::min(_limit, 1e9));
    const Time end = std::chrono::steady_clock::now() + std::chrono::duration_cast<Time::duration>(limit);
    return changed.wait_until(lock, end, [this] { return is_ready(); });
}

void Client::link_changed() {
    const std::lock_guard lock(mutex);
    changed.notify_all();
}

void Client::forget_order() {
    for (const Msg_addr& key : ordered) msg_processing_by_parallel(key);
    ordered.clear();
}

void Client::on_connect() {
    requests->connected();
    Addr here;
    Addr there;
    {
        const std::lock_guard lock(mutex);
        forget_order();
        if (Proxy::get_address(&here, &there) == 0) {
            for (const Link_base* const link : links) ordered.emplace_back(here.port, link->code, link->kind);
        }
        for (const Msg_addr& key : ordered) msg_processing_by_serial_alone(key);
        changed.notify_all();
    }
    const Time now = std::chrono::steady_clock::now();
    for (Link_base* const link : links) {
        link->asked = Time();
        link->ask_again(now);
    }
}

void Client::on_disconnect() {
    {
        const std::lock_guard lock(mutex);
        unconnected_since = std::chrono::steady_clock::now();
    }
    requests->disconnected();
}

Client::Time Client::on_time(Time _now) {
    const Time next = requests->expire(_now);
    look_after_address(_now);
    const bool is_up = is_connected();
    if (is_up) {
        for (Link_base* const link : links) link->ask_again(_now);
    }
    // Names come in milliseconds, or with the next announcement.
    const bool is_searching = address().port == 0;
    const Time again = std::chrono::steady_clock::now() + (is_searching ? std::chrono::milliseconds(2) : a_while());
    return std::min(next, again);
}

/// A service that came back under its name at another address is not where the connection looks for it. And a notice of a
/// new connection may be lost: then the client counts as unconnected although it is not.
void Client::look_after_address(Time _now) {
    constexpr auto patience = 6s;
    bool has_moved = false;
    {
        const std::lock_guard lock(mutex);
        if (!is_wanted || is_connected()) return;
        Addr now = service;
        if (!wanted.empty()) Vorn35::get_address(wanted.c_str(), &now);
        const bool is_stuck = Proxy::is_started() && _now - unconnected_since > patience;
        if (now.port == 0 || (now == service && Proxy::is_started() && !is_stuck)) return;
        has_moved = Proxy::is_started();
        // Without waiting for callbacks: one of them may wait for `mutex`.
        if (has_moved) Proxy::stop();
        service = now;
        unconnected_since = _now;
        Proxy::start(service);
    }
    if (has_moved) requests->fail_all(VORN_ERR_DISCONNECTED_TCP_);
}

// ---- Calls and signals

Call_base_client::Call_base_client(Client& _client, Msg_code _code, double _limit)
    : Proxy_call(_code, static_cast<const Proxy&>(_client)), client(_client), code(_code), limit(_limit) {}

Request_handle Call_base_client::delegate_message(const Message& _request, std::unique_ptr<Pending> _pending,
                                                  double _limit) {
    Encoded encoded(_request, envelope::c_number_size);
    if (!encoded.result()) return _pending->refuse(encoded.result().failure()), Request_handle();
    const std::uint32_t number = client.requests->next_number();
    envelope::put_number(encoded.prefix(), number);
    const double seconds = limit_of(_limit);
    return client.requests->begin(1, code, number, seconds, std::move(_pending), [&](Msg_num* _num_) {
        return delegate_call(_num_, encoded.data(), encoded.size(), seconds);
    });
}

void Call_base_client::on_return(Msg_num _num, Error _error, const void* _data, Pksize _size, double) {
    client.requests->finish(request_key(1, code, _num), _error, payload(_data, _error == 0 ? _size : 0));
}

Signal_base_client::Signal_base_client(Client& _client, Msg_code _code, double _limit)
    : Proxy_signal(_code, static_cast<const Proxy&>(_client)), client(_client), code(_code), limit(_limit) {}

Result<void> Signal_base_client::take_acknowledgement(Error _error, Bytes) {
    Failure failure;
    if (_error != 0 && is_failure(_error, {}, &failure)) return failure;
    return {};
}

Result<void> Signal_base_client::send_message(const Message& _message, double _limit) {
    const Encoded encoded(_message);
    if (!encoded.result()) return encoded.result();
    return take_acknowledgement(signal(encoded.data(), encoded.size(), limit_of(_limit)), {});
}

Request_handle Signal_base_client::delegate_message(const Message& _message, std::unique_ptr<Pending> _pending,
                                                    double _limit) {
    const Encoded encoded(_message);
    if (!encoded.result()) return _pending->refuse(encoded.result().failure()), Request_handle();
    const std::uint32_t number = client.requests->next_number();
    const double seconds = limit_of(_limit);
    return client.requests->begin(2, code, number, seconds, std::move(_pending), [&](Msg_num* _num_) {
        return delegate_signal(_num_, encoded.data(), encoded.size(), seconds);
    });
}

void Signal_base_client::on_return(Msg_num _num, Error _error, double) {
    client.requests->finish(request_key(2, code, _num), _error, {});
}

// ---- Links

Link_base::Link_base(Client& _client, Msg_code _code, Transaction _kind, bool _is_wanted)
    : client(_client), code(_code), kind(_kind), is_wanted(_is_wanted) {
    client.links.push_back(this);
}

void Link_base::want() {
    is_wanted = true;
    asked = Client::Time();
    if (client.is_connected()) ask_again(std::chrono::steady_clock::now());
}

void Link_base::ask_again(Client::Time _now) {
    if (!is_wanted || stands() || _now - asked.load() < std::chrono::duration<double>(c_link_limit)) return;
    asked = _now;
    static_cast<void>(ask());
}

void Link_base::link_changed() {
    client.link_changed();
}

Event_base_client::Event_base_client(Client& _client, Msg_code _code)
    : Proxy_event(_code, static_cast<const Proxy&>(_client)), Link_base(_client, _code, 3, false) {}

Error Event_base_client::ask() {
    Msg_num num = 0;
    return delegate_link(&num, c_link_limit);
}

Information_base_client::Information_base_client(Client& _client, Msg_code _code, std::size_t _history, bool _multicast)
    : Proxy_information(_code, static_cast<const Proxy&>(_client)),
      Link_base(_client, _code, 5, false),
      multicast(_multicast) {
    set_history_size(_history);
}

Error Information_base_client::ask() {
    Msg_num num = 0;
    return delegate_link(&num, !multicast, c_link_limit);
}

Command_base_client::Command_base_client(Client& _client, Msg_code _code, std::size_t _history)
    : Proxy_command(_code, static_cast<const Proxy&>(_client)), Link_base(_client, _code, 4, true) {
    set_history_size(_history);
}

Error Command_base_client::ask() {
    Msg_num num = 0;
    return delegate_link(&num, c_link_limit);
}

Result<void> Command_base_client::write_message(const Message& _message) {
    const Encoded encoded(_message);
    if (!encoded.result()) return encoded.result();
    if (!is_linked()) return Failure::of_runtime(VORN_ERR_OBJECT_IS_NOT_EXIST_, "there is no link to the service");
    return Result<void>::of_runtime(write(encoded.data(), encoded.size()));
}

Datagram_base_client::Datagram_base_client(Client& _client, Msg_code _code)
    : Proxy_datagram(_code, static_cast<const Proxy&>(_client)) {}

}  // namespace Vorn35::typed
