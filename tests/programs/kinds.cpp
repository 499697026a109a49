// Members of all six kinds under load, both ways at once. Each side counts what it sends and what it receives, so
// that a script can compare.
#include <algorithm>
#include <array>

#include "../../examples/sure_call.h"
#include "programs/member.h"
#include "programs/words.h"

namespace peer {

namespace {

/// A payload: one number over and over, so that a wrong byte shows.
using Value = std::array<std::uint32_t, 16>;
constexpr Pksize c_size = sizeof(Value);
/// Limit of a wait, which is what a lost one costs. In the reliable profile none is.
const double c_wait = std::getenv("VORN35_PROFILE") == nullptr ? 0.5 : 20;

Count& g_broken = g_counts["broken"];

Value next_value() {
    static std::atomic<std::uint32_t> number{0};
    Value value;
    value.fill(++number);
    return value;
}

/// Counts what a member takes: whole values or, in the answers to signals, nothing. An error comes as something else.
auto counted(const char* _name) {
    return [&taken = g_counts[_name]](const void* _data, Pksize _size) {
        Value value{};
        if (_size == c_size) std::memcpy(&value, _data, c_size);
        const bool is_whole = std::ranges::count(value, value[0]) == std::ssize(value);
        if (!is_whole || (_size != c_size && _size != 0)) ++g_broken;
        ++taken;
        return 0;
    };
}

// By code 1 or, for the form that may lose values or repeat calls, 2.
struct Service : Stub {
    void on_disconnect(Addr) override { ++left; }
    void publish() {
        const Value value = next_value();
        events.event(&value, c_size);
        values.write(&value, c_size);
        multicast.write(&value, c_size);
        datagrams.broadcast(&value, c_size);
        ++published;
    }
    Member<Stub_call> calls{counted("calls"), Msg_code{1}, c_size, *this};
    Member<Stub_call> sure_calls{counted("sure_calls"), Msg_code{2}, c_size, *this};
    Member<Stub_signal> signals{counted("signals"), Msg_code{1}, *this, nullptr};
    Member<Stub_command> commands{counted("commands"), Msg_code{1}, *this};
    Member<Stub_command> droppable{counted("droppable"), Msg_code{2}, *this};
    Stub_event events{1, *this};
    Stub_information values{1, *this}, multicast{2, *this};
    Stub_datagram datagrams{1, *this};
    Count &published = g_counts["published"], &left = g_counts["left"];
};

/// Requests of one kind that are waited for, and how they ended.
struct Waits {
    void judge(Error _err, bool _right) {
        ++(_err == 0 && _right ? right : _err == VORN_ERR_LOCAL_TIMEOUT_ ? late : wrong);
    }
    const std::string kind;
    Count &asked = g_counts[kind + "_waited"], &right = g_counts[kind + "_right"];
    Count &late = g_counts[kind + "_late"], &wrong = g_counts[kind + "_wrong"];
};

struct Driver : Proxy {
    void on_disconnect() override { ++lost; }
    /// Can ask for every link that does not stand. @return whether all do.
    bool is_linked(bool _ask) {
        Msg_num num = 0;
        const auto stands = [&](auto& _one, auto... _reliability) {
            if (_ask && !_one.is_linked()) _one.delegate_link(&num, _reliability..., c_endless);
            return _one.is_linked();
        };
        const bool all[] = {stands(commands), stands(droppable), stands(values, true), stands(multicast, false),
                            stands(events)};
        return std::ranges::count(all, false) == 0;
    }
    void send() {
        const Value value = next_value();
        Msg_num num = 0;
        ++sent;
        // First: it is dropped when anything else waits to be sent.
        droppable.write(&value, c_size);
        calls.delegate_call(&num, &value, c_size, 3600);
        signals.delegate_signal(&num, &value, c_size, 3600);
        commands.write(&value, c_size);
    }
    void call() {
        const Value value = next_value();
        Value answer{};
        Pksize size = c_size;
        ++waited_calls.asked;
        const Error err = calls.await_return(calls.async_call(&value, c_size, c_wait), &answer, &size, nullptr);
        waited_calls.judge(err, answer == value);
    }
    void signal() {
        const Value value = next_value();
        ++waited_signals.asked;
        waited_signals.judge(signals.signal(&value, c_size, c_wait, nullptr), true);
    }
    void call_surely() {
        const Value value = next_value();
        std::vector<char> answer;
        ++sure_calls.asked;
        const Error err = sure.call(&value, c_size, &answer, 20);
        sure_calls.judge(err, answer.size() == c_size && std::memcmp(answer.data(), &value, c_size) == 0);
    }

    Member<Proxy_call> calls{counted("answers"), Msg_code{1}, *this};
    Sure_call sure{2, *this};
    Member<Proxy_signal> signals{counted("signalled"), Msg_code{1}, *this};
    Proxy_command commands{1, *this}, droppable{2, *this};
    Member<Proxy_event> events{counted("news"), Msg_code{1}, *this};
    Member<Proxy_information> values{counted("values"), Msg_code{1}, *this};
    Member<Proxy_information> multicast{counted("multicast"), Msg_code{2}, *this};
    Member<Proxy_datagram> datagrams{counted("datagrams"), Msg_code{1}, *this};
    Waits waited_calls{"calls"}, waited_signals{"signals"}, sure_calls{"sure"};
    Count &sent = g_counts["sent"], &lost = g_counts["lost"];
};

}  // namespace

int serve_kinds(const Arguments& _arguments) {
    Service service;
    Port port = _arguments.port(0);
    if (service.start(nullptr, &port) != 0) return 1;
    say("ready");
    return run(beat(g_rate, [&] { service.publish(); }));
}

int drive_kinds(const Arguments& _arguments) {
    Driver driver;
    driver.droppable.set_sync_model(false, on_post, 0);
    driver.start(_arguments.address(0));
    // Asks again only after seconds: a service counts an unreliable link once for each request.
    const auto pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(5)); };
    while (!driver.is_connected()) pause();
    for (unsigned looks = 0; !driver.is_linked(looks % 600 == 0); ++looks) pause();
    say("linked");
    return run(beat(g_rate, [&] { driver.send(); }), beat(g_rate, [&] { driver.call(); }),
               beat(g_rate, [&] { driver.signal(); }), beat(g_rate, [&] { driver.call_surely(); }));
}

}  // namespace peer
