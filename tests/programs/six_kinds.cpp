// six_kinds serve PORT                       two members of each kind that has two forms, one of the others, until its
//                                            input ends; says "ready"
// six_kinds drive ADDRESS PORT SECONDS RATE  so many messages a second of each kind and form, both ways at once
//
// The driver prints what was sent, taken, refused by a full pipe and lost, and how memory and descriptors went, and
// ends with 0 only if nothing is lost but what may be.
#include "programs/support.h"

namespace {

using namespace support;

/// A payload: one number over and over, so that a wrong byte shows.
using Value = std::array<std::uint32_t, 16>;
constexpr Pksize c_size = sizeof(Value);

Value value_of(std::uint32_t _number) {
    Value value;
    value.fill(_number);
    return value;
}

/// Sends values of running numbers, so many a second, until the end.
template <class Ended, class Send>
void at_rate(std::uint32_t _rate, Ended _ended, Send _send) {
    std::uint32_t number = 0;
    for (auto next = Clock_t::now(); !_ended(); next += time_of(1.0 / _rate)) {
        std::this_thread::sleep_until(next);
        // A wait that was lost is not made up for in one burst.
        next = std::max(next, Clock_t::now() - std::chrono::milliseconds(100));
        _send(value_of(number++));
    }
}

struct Tally {
    std::atomic<Count> taken{0};
    std::atomic<Count> broken{0};

    void take(const void* _data, Pksize _size) {
        Value value{};
        if (_size == c_size) std::memcpy(&value, _data, c_size);
        if (_size != c_size || value != value_of(value[0])) ++broken;
        ++taken;
    }
};

// Code 1: the form with a callback, or the reliable one; 2: the one that is waited for, or may be dropped; 3: control.

struct Calls : Echo, Tally {
    using Echo::Echo;
    void called(const void* _data, Pksize _size) override { take(_data, _size); }
};
struct Signals : Stub_signal, Tally {
    using Stub_signal::Stub_signal;
    void on_signal(Addr, const void* _data, Pksize _size, double) override { take(_data, _size); }
};
struct Commands : Stub_command, Tally {
    using Stub_command::Stub_command;
    void on_sync(Addr, Sync_model, double, double, const void* _data, const Pksize _size) override {
        take(_data, _size);
    }
};

/// What the service tells of itself; it travels as it is. In the order of `Service::streams`.
struct Report {
    Count taken[6], refused[6];
    Count published;  ///< Of each of the four kinds that it sends.
    Count broken;
    Size size;
};

/// The others are attached to its control.
struct Service : Stub_call {
    Service() : Stub_call(3, sizeof(Report)) {}

    /// With a rate: begins to publish. With 0: stops. Without payload: nothing but the report.
    Error on_call(Addr, const void* _in, Pksize _in_size, void* _out_, Pksize* _size_, double, double) override {
        std::uint32_t asked = rate;
        if (_in_size == sizeof asked) std::memcpy(&asked, _in, sizeof asked);
        rate = asked;
        const EMsg types[] = {EMsg::delegate_call, EMsg::call,        EMsg::delegate_signal,
                              EMsg::signal,        EMsg::command_tcp, EMsg::command_udp};
        Report report{{}, {}, published, 0, size_now()};
        for (std::size_t i = 0; i < std::size(streams); ++i) {
            report.taken[i] = streams[i]->taken;
            report.refused[i] = refusals(types[i]);
            report.broken += streams[i]->broken;
        }
        std::memcpy(_out_, &report, *_size_ = sizeof report);
        return 0;
    }
    void publish_until(const std::atomic<bool>& _ended) {
        while (eventually(1e9, [&] { return rate != 0 || _ended; }) && !_ended) {
            at_rate(
                rate, [&] { return rate == 0 || _ended; }, [this](const Value& _value) { publish(_value); });
        }
    }
    void publish(const Value& _value) {
        events.event(&_value, c_size);
        for (Stub_information& one : informations) one.write(&_value, c_size);
        datagrams.broadcast(&_value, c_size);
        ++published;
    }

    Calls calls[2]{{1, c_size, *this}, {2, c_size, *this}};
    Signals signals[2]{{1, *this, nullptr}, {2, *this, nullptr}};
    Commands commands[2]{{1, *this}, {2, *this}};
    Stub_information informations[2]{{1, *this}, {2, *this}};
    Stub_event events{1, *this};
    Stub_datagram datagrams{1, *this};
    Tally* const streams[6]{&calls[0], &calls[1], &signals[0], &signals[1], &commands[0], &commands[1]};
    std::atomic<std::uint32_t> rate{0};
    std::atomic<Count> published{0};
};

int serve(Port _port) {
    initialize();
    count_refusals();
    Service service;
    const Error err = service.start("six_kinds", &_port);
    std::cout << (err == 0 ? "ready" : "failed") << std::endl;
    std::atomic<bool> ended{err != 0};
    std::thread publishes([&] { service.publish_until(ended); });
    while (!ended && std::getchar() != EOF) {
    }
    ended = true;
    publishes.join();
    finalize();
    return err;
}

struct Caller : Proxy_call, Tally {
    using Proxy_call::Proxy_call;
    void on_return(Msg_num, Error _err, const void* _data, Pksize _size, double) override {
        _err == 0 ? take(_data, _size) : void(++broken);
    }
};
struct Signaller : Proxy_signal, Tally {
    using Proxy_signal::Proxy_signal;
    void on_return(Msg_num, Error _err, double) override { ++(_err == 0 ? taken : broken); }
};
struct Follower : Proxy_information, Tally {
    using Proxy_information::Proxy_information;
    void on_sync(Sync_model, double, double, const void* _data, Pksize _size) override { take(_data, _size); }
};
struct Watcher : Proxy_event, Tally {
    using Proxy_event::Proxy_event;
    void on_event(const void* _data, Pksize _size, double) override { take(_data, _size); }
};
struct Listener : Proxy_datagram, Tally {
    using Proxy_datagram::Proxy_datagram;
    void on_datagram(Addr, const void* _data, Pksize _size, double) override { take(_data, _size); }
};

/// The others are attached to its control.
struct Driver : Proxy_call {
    Driver() : Proxy_call(3) {}
    void on_disconnect() override { ++losses; }

    /// Asks for every link until all stand.
    bool link() {
        return eventually(20, [this] {
            Msg_num num = 0;
            bool all = true;
            const auto ask = [&](auto& _one, auto... _reliability) {
                if (_one.is_linked()) return;
                all = false;
                _one.delegate_link(&num, _reliability..., 20);
            };
            for (Proxy_command& one : writers) ask(one);
            ask(followers[0], true);
            ask(followers[1], false);
            ask(watcher);
            return all;
        });
    }
    /// Until it is answered: each wait may be lost.
    Report control(const std::uint32_t* _rate = nullptr) {
        Report report{};
        for (int attempt = 0; attempt < 20; ++attempt) {
            Pksize size = sizeof report;
            const Promise_ asked = async_call(_rate, _rate == nullptr ? 0 : sizeof *_rate, 0.5);
            if (await_return(asked, &report, &size, nullptr) == 0) return report;
        }
        std::printf("the service does not tell of itself\n");
        std::exit(1);
    }
    void send_all(const Value& _value) {
        Msg_num num = 0;
        // First: it is dropped when anything else waits to be sent.
        if (writers[1].write(&_value, c_size) == 0) ++sent[5];
        if (caller.delegate_call(&num, &_value, c_size, 3600) == 0) ++sent[0];
        if (signaller.delegate_signal(&num, &_value, c_size, 3600) == 0) ++sent[2];
        if (writers[0].write(&_value, c_size) == 0) ++sent[4];
    }
    void ask(const Value& _value) {
        Value answer{};
        Pksize size = c_size;
        ++sent[1];
        const Promise_ asked = asker.async_call(&_value, c_size, c_limit);
        const Error err = asker.await_return(asked, &answer, &size, nullptr);
        judge(err, answer == _value, 0);
    }
    void knock(const Value& _value) {
        ++sent[3];
        judge(knocker.signal(&_value, c_size, c_limit, nullptr), true, 1);
    }
    void judge(Error _err, bool _right, std::size_t _kind) {
        ++(_err == 0 && _right ? answered[_kind] : _err == VORN_ERR_LOCAL_TIMEOUT_ ? late[_kind] : failed[_kind]);
    }

    /// Of a request whose wait may be lost.
    static constexpr double c_limit = 2;
    Caller caller{1, *this};
    Proxy_call asker{2, *this};
    Signaller signaller{1, *this};
    Proxy_signal knocker{2, *this};
    Proxy_command writers[2]{{1, *this}, {2, *this}};
    Follower followers[2]{{1, *this}, {2, *this}};
    Watcher watcher{1, *this};
    Listener listener{1, *this};
    std::atomic<Count> losses{0};
    // Each written by one thread, and read when that has ended. As the service's streams; calls and signals.
    Count sent[6]{}, answered[2]{}, late[2]{}, failed[2]{};
};

/// What a process has settled to in the first minute, it keeps.
bool flat(const std::string& _name, const Size& _early, const Size& _late, double _seconds) {
    figure(_name + " resident memory after a minute, or half of a shorter run", _early.resident / 1024, "KiB");
    figure(_name + " resident memory at the end", _late.resident / 1024, "KiB");
    figure(_name + " descriptors by then", _early.descriptors);
    figure(_name + " descriptors at the end", _late.descriptors);
    figure(_name + " live blocks at the end", _late.blocks);
    const bool settled = _seconds < 120 || _late.resident <= _early.resident + (2 << 20);
    return settled && _late.descriptors == _early.descriptors && _late.blocks < 100;
}

/// What was sent was taken or refused, but for so much.
struct Balance {
    const char* name;
    Count sent, taken, refused, may_miss;

    bool holds() const {
        const auto missing = static_cast<std::int64_t>(sent - taken - refused);
        figure(std::string(name) + " sent", sent, "messages");
        if (refused != 0) figure(std::string(name) + " refused by a full pipe", refused, "messages");
        if (missing != 0) figure(std::string(name) + " missing", missing, "messages");
        return missing >= 0 && static_cast<Count>(missing) <= may_miss;
    }
};
constexpr Count c_droppable = ~Count{0} / 2;

bool all_is_there(const Driver& _driver, const Report& _there) {
    const auto& [taken, refused, published, broken, size] = _there;
    const auto& [sent, answered, late] = std::tie(_driver.sent, _driver.answered, _driver.late);
    const Balance lines[] = {
        {"calls (callback)", sent[0], taken[0], refused[0], 0},
        {"answers to calls (callback)", taken[0], _driver.caller.taken, refusals(EMsg::delegate_call_return), 0},
        {"calls (waited for)", sent[1], taken[1], refused[1], late[0]},
        {"answers to calls (waited for)", taken[1], answered[0], 0, late[0]},
        {"signals (callback)", sent[2], taken[2], refused[2], 0},
        {"answers to signals (callback)", taken[2], _driver.signaller.taken, refusals(EMsg::delegate_signal_return), 0},
        {"signals (waited for)", sent[3], taken[3], refused[3], late[1]},
        {"answers to signals (waited for)", taken[3], answered[1], 0, late[1]},
        {"commands", sent[4], taken[4], refused[4], 0},
        {"commands (droppable)", sent[5], taken[5], refused[5], c_droppable},
        {"events", published, _driver.watcher.taken, refusals(EMsg::event), 0},
        {"informations", published, _driver.followers[0].taken, refusals(EMsg::information_tcp), 0},
        {"informations (multicast)", published, _driver.followers[1].taken, refusals(EMsg::information_udp),
         c_droppable},
        {"datagrams", published, _driver.listener.taken, refusals(EMsg::datagram), c_droppable}};
    figure("waits that lost their answer", late[0] + late[1]);
    return std::count_if(std::begin(lines), std::end(lines), [](const Balance& _line) { return !_line.holds(); }) == 0;
}

int drive(Addr _service, double _seconds, std::uint32_t _rate) {
    initialize();
    count_refusals();
    Driver driver;
    driver.writers[1].set_sync_model(false, on_post, 0);
    if (driver.start(_service) != 0 || !eventually(20, [&] { return driver.is_connected(); }) || !driver.link()) {
        std::printf("no connection, or no links\n");
        return 1;
    }
    driver.control(&_rate);

    const auto begin = Clock_t::now();
    const auto over = [&] { return seconds_since(begin) >= _seconds; };
    std::thread sends([&] { at_rate(_rate, over, [&](const Value& _value) { driver.send_all(_value); }); });
    std::thread asks([&] { at_rate(_rate, over, [&](const Value& _value) { driver.ask(_value); }); });
    std::thread knocks([&] { at_rate(_rate, over, [&](const Value& _value) { driver.knock(_value); }); });
    std::this_thread::sleep_until(begin + time_of(std::min(60.0, _seconds / 2)));
    const Size early = size_now();
    const Size early_there = driver.control().size;
    sends.join();
    asks.join();
    knocks.join();
    const std::uint32_t none = 0;
    Report there = driver.control(&none);

    // All is over when nothing comes any more.
    const Tally* const streams[] = {&driver.caller,       &driver.signaller,    &driver.watcher,
                                    &driver.followers[0], &driver.followers[1], &driver.listener};
    Count broken = 0;
    for (Count last = 0, now = 1; last != now;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        there = driver.control();
        last = std::exchange(now, there.taken[0] + there.taken[4]);
        broken = there.broken;
        for (const Tally* const one : streams) {
            now += one->taken;
            broken += one->broken;
        }
    }
    const Size late = size_now();

    figure("seconds", seconds_since(begin), "s");
    bool good = all_is_there(driver, there);
    good &= flat("client", early, late, _seconds);
    good &= flat("service", early_there, there.size, _seconds);
    figure("broken messages", broken);
    figure("connections lost", driver.losses.load());
    figure("client processor time", processor_seconds(), "s");
    good &= broken + driver.losses + driver.failed[0] + driver.failed[1] == 0;
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
