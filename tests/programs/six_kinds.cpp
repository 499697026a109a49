// six_kinds serve PORT                     one member of each kind (and a second one of those that have two forms), until
//                                          its input ends; says "ready"
// six_kinds drive ADDRESS PORT SECONDS RATE  so many messages a second of each kind and form, both ways at once
//
// The driver prints what was sent, taken, refused by a full pipe and lost, and how memory and descriptors went, and ends
// with 0 only if nothing is lost but what may be.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "programs/load.h"

namespace {

using namespace load;

/// A payload: one number over and over, so that a wrong byte shows.
using Value = std::array<std::uint32_t, 16>;

Value value_of(std::uint32_t _number) {
    Value value;
    value.fill(_number);
    return value;
}

struct Tally {
    std::atomic<Count> taken{0};
    std::atomic<Count> broken{0};

    void take(const void* _data, Pksize _size) {
        Value value{};
        if (_size == sizeof value) std::memcpy(&value, _data, sizeof value);
        if (_size != sizeof value || value != value_of(value[0])) ++broken;
        ++taken;
    }
};

// Code 1: the form with a callback, or the reliable one; 2: the one that is waited for, or may be dropped; 3: `Control`.

template <Msg_code code>
struct Calls : Stub_call, Tally {
    Calls() : Stub_call(code, sizeof(Value)) {}
    Error on_call(Addr, const void* _in, Pksize _in_size, void* _out_, Pksize* _size_, double, double) override {
        take(_in, _in_size);
        *_size_ = std::min<Pksize>(_in_size, *_size_);
        std::memcpy(_out_, _in, *_size_);
        return 0;
    }
};
template <Msg_code code>
struct Signals : Stub_signal, Tally {
    Signals() : Stub_signal(code) {}
    void on_signal(Addr, const void* _data, Pksize _size, double) override { take(_data, _size); }
};
template <Msg_code code>
struct Commands : Stub_command, Tally {
    Commands() : Stub_command(code) {}
    void on_sync(Addr, Sync_model, double, double, const void* _data, const Pksize _size) override {
        take(_data, _size);
    }
};
template <Msg_code code>
struct Informations : Stub_information {
    Informations() : Stub_information(code) {}
};

/// What the service tells of itself. All counts, so that it travels as it is.
struct Report {
    Count published = 0;  ///< Of each of the four that it sends.
    Count calls[2], signals[2], commands[2];
    Count refused_calls[2], refused_signals[2], refused_commands[2];
    Count broken;
    Size size;
};

struct Service;
struct Control : Stub_call {
    explicit Control(Service* _service) : Stub_call(3, sizeof(Report)), service(_service) {}
    /// With a rate: begins to publish. With 0: stops. Without payload: nothing but the report.
    Error on_call(Addr, const void* _in, Pksize _in_size, void* _out_, Pksize* _size_, double, double) override;
    Service* const service;
};

struct Service : Calls<1>,
                 Calls<2>,
                 Signals<1>,
                 Signals<2>,
                 Commands<1>,
                 Commands<2>,
                 Informations<1>,
                 Informations<2>,
                 Stub_event,
                 Stub_datagram,
                 Control {
    Service() : Stub_event(1), Stub_datagram(1), Control(this) {}

    Report report() const {
        return {published,
                {Calls<1>::taken, Calls<2>::taken},
                {Signals<1>::taken, Signals<2>::taken},
                {Commands<1>::taken, Commands<2>::taken},
                {refusals(EMsg::delegate_call), refusals(EMsg::call)},
                {refusals(EMsg::delegate_signal), refusals(EMsg::signal)},
                {refusals(EMsg::command_tcp), refusals(EMsg::command_udp)},
                Calls<1>::broken + Calls<2>::broken + Signals<1>::broken + Signals<2>::broken + Commands<1>::broken +
                    Commands<2>::broken,
                size_now()};
    }
    void publish_until(const std::atomic<bool>& _ended) {
        auto next = std::chrono::steady_clock::now();
        while (!_ended) {
            if (rate == 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
                next = std::chrono::steady_clock::now();
                continue;
            }
            next += std::chrono::nanoseconds(1'000'000'000 / rate);
            std::this_thread::sleep_until(next);
            const Value value = value_of(static_cast<std::uint32_t>(published));
            event(&value, sizeof value);
            Informations<1>::write(&value, sizeof value);
            Informations<2>::write(&value, sizeof value);
            broadcast(&value, sizeof value);
            ++published;
        }
    }

    std::atomic<std::uint32_t> rate{0};
    std::atomic<Count> published{0};
};

Error Control::on_call(Addr, const void* _in, Pksize _in_size, void* _out_, Pksize* _size_, double, double) {
    if (_in_size == sizeof(std::uint32_t)) {
        std::uint32_t rate = 0;
        std::memcpy(&rate, _in, sizeof rate);
        service->rate = rate;
    }
    const Report report = service->report();
    std::memcpy(_out_, &report, sizeof report);
    *_size_ = sizeof report;
    return 0;
}

int serve(Port _port) {
    initialize();
    count_refusals();
    Service service;
    const Error err = service.start("six_kinds", &_port);
    std::printf(err == 0 ? "ready\n" : "failed\n");
    std::fflush(stdout);
    std::atomic<bool> ended{err != 0};
    std::thread publishes([&] { service.publish_until(ended); });
    while (!ended && std::getchar() != EOF) {
    }
    ended = true;
    publishes.join();
    finalize();
    return err;
}

// --- the driver ------------------------------------------------------------------------------------------

struct Caller : Proxy_call, Tally {
    Caller() : Proxy_call(1) {}
    void on_return(Msg_num, Error _err, const void* _data, Pksize _size, double) override {
        _err == 0 ? take(_data, _size) : void(++broken);
    }
};
template <Msg_code code>
struct Asker : Proxy_call {
    Asker() : Proxy_call(code) {}
};
struct Signaller : Proxy_signal, Tally {
    Signaller() : Proxy_signal(1) {}
    void on_return(Msg_num, Error _err, double) override { ++(_err == 0 ? taken : broken); }
};
struct Knocker : Proxy_signal {
    Knocker() : Proxy_signal(2) {}
};
template <Msg_code code>
struct Writer : Proxy_command {
    Writer() : Proxy_command(code) {}
};
template <Msg_code code>
struct Follower : Proxy_information, Tally {
    Follower() : Proxy_information(code) {}
    void on_sync(Sync_model, double, double, const void* _data, Pksize _size) override { take(_data, _size); }
};
struct Watcher : Proxy_event, Tally {
    Watcher() : Proxy_event(1) {}
    void on_event(const void* _data, Pksize _size, double) override { take(_data, _size); }
};
struct Listener : Proxy_datagram, Tally {
    Listener() : Proxy_datagram(1) {}
    void on_datagram(Addr, const void* _data, Pksize _size, double) override { take(_data, _size); }
};

/// A request whose wait may be lost, with its limit.
constexpr double c_wait_limit = 2;

struct Driver : Caller,
                Asker<2>,
                Asker<3>,
                Signaller,
                Knocker,
                Writer<1>,
                Writer<2>,
                Follower<1>,
                Follower<2>,
                Watcher,
                Listener {
    void on_disconnect() override { ++losses; }

    /// Asks for every link until all stand.
    bool link() {
        return eventually(20, [this] {
            Msg_num num = 0;
            if (!Writer<1>::is_linked()) Writer<1>::delegate_link(&num, 20);
            if (!Writer<2>::is_linked()) Writer<2>::delegate_link(&num, 20);
            if (!Follower<1>::is_linked()) Follower<1>::delegate_link(&num, true, 20);
            if (!Follower<2>::is_linked()) Follower<2>::delegate_link(&num, false, 20);
            if (!Watcher::is_linked()) Watcher::delegate_link(&num, 20);
            return Writer<1>::is_linked() && Writer<2>::is_linked() && Follower<1>::is_linked() &&
                   Follower<2>::is_linked() && Watcher::is_linked();
        });
    }
    /// Until it is answered: each wait may be lost.
    Report control(const std::uint32_t* _rate = nullptr) {
        Report report{};
        for (int attempt = 0; attempt < 20; ++attempt) {
            Pksize size = sizeof report;
            const Promise_ asked = Asker<3>::async_call(_rate, _rate == nullptr ? 0 : sizeof *_rate, 0.5);
            if (Asker<3>::await_return(asked, &report, &size, nullptr) == 0) return report;
        }
        std::printf("the service does not tell of itself\n");
        std::exit(1);
    }

    template <class Send>
    static void at_rate(std::uint32_t _rate, std::chrono::steady_clock::time_point _end, Send _send) {
        std::uint32_t number = 0;
        for (auto next = std::chrono::steady_clock::now(); next < _end;
             next += std::chrono::nanoseconds(1'000'000'000 / _rate)) {
            std::this_thread::sleep_until(next);
            // A wait that was lost is not made up for in one burst.
            next = std::max(next, std::chrono::steady_clock::now() - std::chrono::milliseconds(100));
            _send(value_of(number++));
        }
    }
    void send_all(const Value& _value) {
        Msg_num num = 0;
        // First: it is dropped when anything else waits to be sent.
        if (Writer<2>::write(&_value, sizeof _value) == 0) ++commands[1];
        if (Caller::delegate_call(&num, &_value, sizeof _value, 3600) == 0) ++calls[0];
        if (Signaller::delegate_signal(&num, &_value, sizeof _value, 3600) == 0) ++signals[0];
        if (Writer<1>::write(&_value, sizeof _value) == 0) ++commands[0];
    }
    void ask(const Value& _value) {
        Value answer{};
        Pksize size = sizeof answer;
        ++calls[1];
        const Error err =
            Asker<2>::await_return(Asker<2>::async_call(&_value, sizeof _value, c_wait_limit), &answer, &size, nullptr);
        judge(err, answer == _value, &answered[0], &waits_lost[0]);
    }
    void knock(const Value& _value) {
        ++signals[1];
        judge(Knocker::signal(&_value, sizeof _value, c_wait_limit, nullptr), true, &answered[1], &waits_lost[1]);
    }
    void judge(Error _err, bool _right, Count* _answered_, Count* _lost_) {
        if (_err == 0 && _right) {
            ++*_answered_;
        } else if (_err == VORN_ERR_LOCAL_TIMEOUT_) {
            ++*_lost_;
        } else {
            ++failed;
        }
    }

    std::atomic<Count> losses{0};
    std::atomic<Count> failed{0};
    // Each written by one thread, and read when that has ended.
    Count calls[2]{}, signals[2]{}, commands[2]{}, answered[2]{}, waits_lost[2]{};
};

/// One line of the balance. @return whether nothing is missing but `_may_miss`.
bool balance(const char* _name, Count _sent, Count _taken, Count _refused, Count _may_miss) {
    const auto missing = static_cast<std::int64_t>(_sent - _taken - _refused);
    figure(std::string(_name) + " sent", _sent, "messages");
    if (_refused != 0) figure(std::string(_name) + " refused by a full pipe", _refused, "messages");
    if (missing != 0) figure(std::string(_name) + " missing", missing, "messages");
    return missing >= 0 && static_cast<Count>(missing) <= _may_miss;
}
constexpr Count c_droppable = ~Count{0} / 2;

/// What a process has settled to in the first minute, it keeps.
bool flat(const char* _name, const Size& _early, const Size& _late, double _seconds) {
    const std::string name(_name);
    figure(name + " resident memory after a minute, or half of a shorter run", _early.resident_kib, "KiB");
    figure(name + " resident memory at the end", _late.resident_kib, "KiB");
    figure(name + " descriptors by then", _early.descriptors, "");
    figure(name + " descriptors at the end", _late.descriptors, "");
    figure(name + " live blocks at the end", _late.blocks, "");
    const bool settled = _seconds < 120 || _late.resident_kib <= _early.resident_kib + 2048;
    return settled && _late.descriptors == _early.descriptors && _late.blocks < 100;
}

int drive(Addr _service, double _seconds, std::uint32_t _rate) {
    initialize();
    count_refusals();
    Driver driver;
    driver.Writer<2>::set_sync_model(false, on_post, 0);
    if (driver.start(_service) != 0 || !eventually(20, [&] { return driver.is_connected(); }) || !driver.link()) {
        std::printf("no connection, or no links\n");
        return 1;
    }
    const Report before = driver.control(&_rate);

    const auto begin = std::chrono::steady_clock::now();
    const auto after = [begin](double _after) {
        return begin + std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(_after));
    };
    std::thread sends([&] { driver.at_rate(_rate, after(_seconds), [&](const Value& _v) { driver.send_all(_v); }); });
    std::thread asks([&] { driver.at_rate(_rate, after(_seconds), [&](const Value& _v) { driver.ask(_v); }); });
    std::thread knocks([&] { driver.at_rate(_rate, after(_seconds), [&](const Value& _v) { driver.knock(_v); }); });
    std::this_thread::sleep_until(after(std::min(60.0, _seconds / 2)));
    const Size early = size_now();
    const Size early_there = driver.control().size;
    sends.join();
    asks.join();
    knocks.join();
    const std::uint32_t none = 0;
    driver.control(&none);

    // All is over when nothing comes any more.
    Report there = driver.control();
    const auto all = [&] {
        return driver.Caller::taken + driver.Signaller::taken + driver.Watcher::taken + driver.Follower<1>::taken +
               driver.Follower<2>::taken + driver.Listener::taken + there.calls[0] + there.commands[0];
    };
    for (Count last = 0; last != all();) {
        last = all();
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        there = driver.control();
    }
    const Size late = size_now();

    bool good = driver.losses == 0 && driver.failed == 0;
    figure("seconds", std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count(), "s");
    const auto line = [&good](auto... _arguments) { good &= balance(_arguments...); };
    line("calls (callback)", driver.calls[0], there.calls[0], there.refused_calls[0], Count{0});
    line("answers to calls (callback)", there.calls[0], driver.Caller::taken.load(),
         refusals(EMsg::delegate_call_return), Count{0});
    line("calls (waited for)", driver.calls[1], there.calls[1], there.refused_calls[1], driver.waits_lost[0]);
    line("answers to calls (waited for)", there.calls[1], driver.answered[0], Count{0}, driver.waits_lost[0]);
    line("signals (callback)", driver.signals[0], there.signals[0], there.refused_signals[0], Count{0});
    line("answers to signals (callback)", there.signals[0], driver.Signaller::taken.load(),
         refusals(EMsg::delegate_signal_return), Count{0});
    line("signals (waited for)", driver.signals[1], there.signals[1], there.refused_signals[1], driver.waits_lost[1]);
    line("answers to signals (waited for)", there.signals[1], driver.answered[1], Count{0}, driver.waits_lost[1]);
    line("commands", driver.commands[0], there.commands[0], there.refused_commands[0], Count{0});
    line("commands (droppable)", driver.commands[1], there.commands[1], there.refused_commands[1], c_droppable);
    const Count published = there.published - before.published;
    line("events", published, driver.Watcher::taken.load(), refusals(EMsg::event), Count{0});
    line("informations", published, driver.Follower<1>::taken.load(), refusals(EMsg::information_tcp), Count{0});
    line("informations (multicast)", published, driver.Follower<2>::taken.load(), refusals(EMsg::information_udp),
         c_droppable);
    line("datagrams", published, driver.Listener::taken.load(), refusals(EMsg::datagram), c_droppable);
    figure("waits that lost their answer", driver.waits_lost[0] + driver.waits_lost[1], "");
    const Count broken = driver.Caller::broken + driver.Signaller::broken + driver.Watcher::broken +
                         driver.Follower<1>::broken + driver.Follower<2>::broken + driver.Listener::broken +
                         there.broken;
    figure("broken messages", broken, "");
    figure("connections lost", driver.losses.load(), "");
    good &= broken == 0;
    good &= flat("client", early, late, _seconds);
    good &= flat("service", early_there, there.size, _seconds);
    figure("client processor time", processor_seconds(), "s");
    finalize();
    std::printf(good ? "nothing is missing but what may be\n" : "FAILED\n");
    return good ? 0 : 1;
}

}  // namespace

int main(int _count, char** _arguments) {
    const std::string word = _count > 2 ? _arguments[1] : "";
    if (word == "serve") return serve(static_cast<Port>(std::atoi(_arguments[2])));
    if (word == "drive" && _count == 6) {
        return drive({inet_addr(_arguments[2]), static_cast<Port>(std::atoi(_arguments[3]))}, std::atof(_arguments[4]),
                     static_cast<std::uint32_t>(std::atoi(_arguments[5])));
    }
    return 2;
}
