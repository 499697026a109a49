// peer serve PORT COUNT RATE SIZE        COUNT services at PORT and on: each echoes calls, and publishes RATE events a
//                                        second of SIZE bytes
// peer use ADDRESS PORT COUNT RATE [N]   a client of each of so many services: links whenever it is connected, once a
//                                        second again until the link stands, and calls RATE times a second; stops and
//                                        starts anew when it hears no event for N seconds
// peer find NAME                         whom the name stands for, whenever that changes
//
// Says what happens in lines that begin with the milliseconds of the monotonic clock, which all processes of a lab share.
// Answers each line of its input with the counts so far ("fed": clients that had an event since the last answer), and ends
// with its input.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Vorn/Memory/Ref_memory.h"
#include "Vorn35/Vorn35.h"

namespace {

using namespace Vorn35;
using Clock_t = std::chrono::steady_clock;

constexpr Msg_code c_echo = 1;
constexpr Msg_code c_news = 2;
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

struct Server : Stub_call, Stub_event {
    Server() : Stub_call(c_echo, 1024), Stub_event(c_news) {}
    void on_connect(Addr) override { ++g_up; }
    void on_disconnect(Addr) override { --g_up; }
    Error on_link(Addr, double, double) override {
        ++g_linked;
        return 0;
    }
    void on_unlink(Addr, Error) override { --g_linked; }
    Error on_call(Addr, const void* _in, Pksize _size, void* _out_, Pksize* _out_size_, double, double) override {
        std::memcpy(_out_, _in, *_out_size_ = std::min(_size, *_out_size_));
        ++g_answered;
        return 0;
    }
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
        const bool missing = is_connected() && !is_linked();
        Msg_num num = 0;
        if (missing && missed) say(index + " link again");
        if (missing && missed) delegate_link(&num, c_endless);
        missed = missing;
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
    bool missed = false;
    std::atomic<int> silent_for{0};
    std::atomic<unsigned> fed_in{0};
};

/// So many times a second, until the end; each is counted from the last, so that none is left out.
void beat(double _rate, const std::function<void()>& _step) {
    if (_rate == 0) return;
    for (auto next = Clock_t::now(); !g_done; std::this_thread::sleep_until(next)) {
        next += std::chrono::nanoseconds(static_cast<std::int64_t>(1e9 / _rate));
        _step();
    }
}

void tell_counts() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    const std::lock_guard lock(gp_memory->mtx);
    say("counts up " + std::to_string(g_up) + " linked " + std::to_string(g_linked) + " asked " +
        std::to_string(g_asked) + " answered " + std::to_string(g_answered) + " events " + std::to_string(g_events) +
        " last " + std::to_string(g_last) + " blocks " + std::to_string(gp_memory->alloc_total) + " rss " +
        std::to_string(pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE))) + " fed " + std::to_string(g_fed));
    ++g_round;
    g_fed = 0;
}

void until_end_of_input() {
    for (int c = 0; (c = std::getchar()) != EOF;) {
        if (c == '\n') tell_counts();
    }
    g_done = true;
}

int serve(int _port, int _count, double _rate, std::size_t _size) {
    std::deque<Server> servers(static_cast<std::size_t>(_count));
    for (Server& one : servers) {
        auto port = static_cast<Port>(_port++);
        if (const Error err = one.start(nullptr, &port); err != 0) {
            say("failed " + std::to_string(err));
            return 1;
        }
    }
    say("ready");
    std::thread publishing([&] {
        std::vector<char> news(_size);
        beat(_rate, [&] {
            const unsigned number = ++g_events;
            std::memcpy(news.data(), &number, sizeof number);
            for (Server& one : servers) one.event(news.data(), static_cast<Pksize>(_size));
        });
    });
    until_end_of_input();
    publishing.join();
    finalize();
    return 0;
}

int use(Addr _first, int _count, double _rate, int _patience) {
    std::deque<User> users;
    for (int i = 0; i < _count; ++i) users.emplace_back(i);
    const auto address_of = [&](const User& _one) {
        return Addr(_first.ip, static_cast<Port>(_first.port + std::stoi(_one.index)));
    };
    for (User& one : users) one.start(address_of(one));
    std::thread calling([&] {
        beat(_rate, [&] {
            Msg_num num = 0;
            for (User& one : users) g_asked += one.delegate_call(&num, "call", 4, c_endless) == 0 ? 1 : 0;
        });
    });
    std::thread linking([&] {
        beat(1, [&] {
            for (User& one : users) {
                one.link_again();
                one.start_again(address_of(one), _patience);
            }
        });
    });
    until_end_of_input();
    calling.join();
    linking.join();
    finalize();
    return 0;
}

int find(const char* _name) {
    std::thread looking([&] {
        std::string last;
        while (!g_done) {
            Addr found;
            std::string now = "lost";
            if (get_address(_name, &found) != 0) {
                now = "found " + std::string(Vorn35::inet_ntoa(found.ip)) + ":" + std::to_string(found.port);
            }
            if (now != last) say(now);
            last = now;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    });
    until_end_of_input();
    looking.join();
    finalize();
    return 0;
}

}  // namespace

int main(int _count, char** _arguments) {
    const std::string role = _count > 1 ? _arguments[1] : "";
    const auto number = [&](int _at) { return std::atoi(_arguments[_at]); };
    initialize();
    if (role == "serve" && _count == 6) {
        return serve(number(2), number(3), number(4), std::max<std::size_t>(4, static_cast<std::size_t>(number(5))));
    }
    if (role == "use" && (_count == 6 || _count == 7)) {
        return use({Vorn35::inet_addr(_arguments[2]), static_cast<Port>(number(3))}, number(4), number(5),
                   _count == 7 ? number(6) : 0);
    }
    if (role == "find" && _count == 3) return find(_arguments[2]);
    return 2;
}
