// peer serve PORT COUNT RATE SIZE [NAME] COUNT services at PORT and on: each echoes calls, and publishes RATE events a
//                                        second of SIZE bytes
// peer use ADDRESS PORT COUNT RATE [N]   a client of each of so many services: links whenever it is connected, once a
//                                        second again until the link stands, and calls RATE times a second; stops and
//                                        starts anew when it hears no event for N seconds
// peer find NAME                         whom the name stands for, whenever that changes
// peer publish PORT                      publishes each line of its input, and says "left" for each client that goes
// peer follow ADDRESS PORT               follows that by multicast: says "linked", then each value
//
// Says what happens in lines that begin with the milliseconds of the monotonic clock, which all processes of a lab
// share. All but `publish` answer each line of their input with the counts so far ("fed": clients that had an event
// since the last answer). They end with it.
#include <deque>
#include <functional>

#include "programs/support.h"

namespace {

using namespace support;

constexpr Msg_code c_echo = 1;
constexpr Msg_code c_news = 2;
constexpr Msg_code c_value = 0x0A0B;
constexpr double c_endless = 1e9;

std::atomic<bool> g_done{false};
std::atomic<unsigned> g_up{0}, g_linked{0}, g_asked{0}, g_answered{0}, g_events{0}, g_last{0}, g_fed{0};
std::atomic<unsigned> g_round{1};  ///< Of counting: from one answer to the next.

/// One write a line, so that lines of several threads do not mix.
void say(const std::string& _what) {
    const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(Clock_t::now().time_since_epoch());
    const std::string line = std::to_string(now.count()) + " " + _what + "\n";
    if (::write(STDOUT_FILENO, line.data(), line.size()) == -1) std::_Exit(1);
}

std::string name_of(Error _error) {
    return _error == 0 ? "0" : get_err_str(_error);
}

struct Server : Echo, Stub_event {
    Server() : Echo(c_echo, 1024), Stub_event(c_news) {}
    void on_connect(Addr) override { ++g_up; }
    void on_disconnect(Addr) override { --g_up; }
    Error on_link(Addr, double, double) override {
        ++g_linked;
        return 0;
    }
    void on_unlink(Addr, Error) override { --g_linked; }
    void called(const void*, Pksize) override { ++g_answered; }
};

struct User : Proxy_call, Proxy_event {
    explicit User(unsigned _index) : Proxy_call(c_echo), Proxy_event(c_news), index(std::to_string(_index)) {}
    void on_connect() override {
        ++g_up;
        say(index + " up");
        Msg_num num = 0;
        if (const Error err = delegate_link(&num, c_endless); err != 0) say(index + " link " + name_of(err));
    }
    void on_disconnect() override {
        --g_up;
        say(index + " down");
    }
    void on_link(Msg_num, Error _err, double) override {
        if (_err == 0) ++g_linked;
        say(index + " link " + name_of(_err));
    }
    void on_unlink(Error _err) override {
        --g_linked;
        say(index + " unlink " + name_of(_err));
    }
    void on_event(const void* _data, Pksize, double) override {
        ++g_events;
        unsigned number = 0;
        std::memcpy(&number, _data, sizeof number);
        g_last = number;
        if (fed_in.exchange(g_round) != g_round) ++g_fed;
        silent_for = 0;
    }
    void on_return(Msg_num, Error _err, const void*, Pksize, double) override { g_answered += _err == 0 ? 1 : 0; }
    /// Requests and answers may be refused by a pipe that is full, so a link that does not come is asked for again.
    void link_again() {
        const bool was_missing = std::exchange(missing, is_connected() && !is_linked());
        if (!missing || !was_missing) return;
        Msg_num num = 0;
        say(index + " link again");
        delegate_link(&num, c_endless);
    }
    void start_again(Addr _service, int _patience) {
        if (_patience == 0 || ++silent_for < _patience) return;
        silent_for = 0;
        say(index + " anew");
        stop();
        start(_service);
    }
    const std::string index;

private:
    bool missing = false;
    std::atomic<int> silent_for{0};
    std::atomic<unsigned> fed_in{0};
};

struct Publisher : Stub_information {
    Publisher() : Stub_information(c_value) {}
    void on_unlink(Addr, Error) override { say("left"); }
};

struct Follower : Proxy_information {
    Follower() : Proxy_information(c_value) {}
    void on_connect() override {
        Msg_num num = 0;
        delegate_link(&num, false, 20);
    }
    void on_link(Msg_num, Error _err, double) override { say(_err == 0 ? "linked" : get_err_str(_err)); }
    void on_sync(Sync_model, double, double, const void* _data, Pksize _size) override {
        say(std::string(static_cast<const char*>(_data), _size));
    }
};

/// So many times a second, until the end; each is counted from the last, so that none is left out.
std::thread beat(double _rate, std::function<void()> _step) {
    return std::thread([_rate, step = std::move(_step)] {
        for (auto next = Clock_t::now(); _rate != 0 && !g_done; std::this_thread::sleep_until(next)) {
            next += time_of(1 / _rate);
            step();
        }
    });
}

void tell_counts(const std::string&) {
    const Size size = size_now();
    std::string line = "counts";
    const auto add = [&line](const char* _name, Count _count) {
        line += " " + std::string(_name) + " " + std::to_string(_count);
    };
    add("up", g_up);
    add("linked", g_linked);
    add("asked", g_asked);
    add("answered", g_answered);
    add("events", g_events);
    add("last", g_last);
    add("blocks", size.block_bytes);
    add("rss", size.resident);
    add("fed", g_fed);
    say(line);
    ++g_round;
    g_fed = 0;
}

/// To the end of the input and of these, which the objects outlive.
template <class On_line, class... Threads>
int run(On_line _on_line, Threads... _threads) {
    for (std::string line; std::getline(std::cin, line);) _on_line(line);
    g_done = true;
    (_threads.join(), ...);
    return finalize();
}

int serve(int _port, int _count, double _rate, std::size_t _size, const char* _name) {
    std::deque<Server> servers(static_cast<std::size_t>(_count));
    for (Server& one : servers) {
        auto port = static_cast<Port>(_port++);
        if (const Error err = one.start(_name, &port); err != 0) {
            say("failed " + std::to_string(err));
            return 1;
        }
    }
    say("ready");
    return run(tell_counts,
               beat(_rate, [&servers, news = std::vector<char>(std::max<std::size_t>(4, _size))]() mutable {
                   const unsigned number = ++g_events;
                   std::memcpy(news.data(), &number, sizeof number);
                   for (Server& one : servers) one.event(news.data(), static_cast<Pksize>(news.size()));
               }));
}

int use(Addr _first, int _count, double _rate, int _patience) {
    std::deque<User> users;
    for (int i = 0; i < _count; ++i) users.emplace_back(i);
    const auto address_of = [&](const User& _one) {
        return Addr(_first.ip, static_cast<Port>(_first.port + std::stoi(_one.index)));
    };
    for (User& one : users) one.start(address_of(one));
    const auto call = [&] {
        Msg_num num = 0;
        for (User& one : users) g_asked += one.delegate_call(&num, "call", 4, c_endless) == 0 ? 1 : 0;
    };
    const auto look_after = [&] {
        for (User& one : users) {
            one.link_again();
            one.start_again(address_of(one), _patience);
        }
    };
    return run(tell_counts, beat(_rate, call), beat(1, look_after));
}

int find(const char* _name) {
    return run(tell_counts, beat(100, [_name, last = std::string()]() mutable {
                   Addr found;
                   std::string now = "lost";
                   if (get_address(_name, &found) != 0) {
                       now = "found " + std::string(Vorn35::inet_ntoa(found.ip)) + ":" + std::to_string(found.port);
                   }
                   if (now != last) say(now);
                   last = now;
               }));
}

int publish(Port _port) {
    Publisher publisher;
    say(publisher.start(nullptr, &_port) == 0 ? "ready" : "failed");
    return run([&](const std::string& _line) { publisher.write(_line.data(), static_cast<Pksize>(_line.size())); });
}

int follow(Addr _service) {
    Follower follower;
    follower.start(_service);
    return run(tell_counts);
}

}  // namespace

int main(int _count, char** _arguments) {
    const std::string role = _count > 1 ? _arguments[1] : "";
    const auto number = [&](int _at) { return _count > _at ? std::atoi(_arguments[_at]) : 0; };
    const auto address = [&] { return Addr(Vorn35::inet_addr(_arguments[2]), static_cast<Port>(number(3))); };
    initialize();
    if (role == "serve" && _count >= 6) {
        return serve(number(2), number(3), number(4), static_cast<std::size_t>(number(5)), _arguments[6]);
    }
    if (role == "use" && _count >= 6) return use(address(), number(4), number(5), number(6));
    if (role == "find" && _count == 3) return find(_arguments[2]);
    if (role == "publish" && _count == 3) return publish(static_cast<Port>(number(2)));
    if (role == "follow" && _count == 4) return follow(address());
    return 2;
}
