// peer serve PORT COUNT RATE SIZE [NAME] COUNT services at PORT and on: each echoes calls, and publishes RATE events a
//                                        second of SIZE bytes
// peer use ADDRESS PORT COUNT RATE [N]   a client of each of so many services: links whenever it is connected, once a
//                                        second again until the link stands, and calls RATE times a second; stops and
//                                        starts anew when it hears no event for N seconds
// peer find NAME                         whom the name stands for, whenever that changes
// peer serve_kinds PORT                  members of all kinds; a number on its input is a rate to publish at
// peer drive_kinds ADDRESS PORT          says "linked" with these; a number on its input is a rate to send at
// peer demo WORD...                      functions of the demonstration, see demo.cpp
//
// Says what happens in lines that begin with the milliseconds of the monotonic clock, which all processes of a lab
// share. All answer each line of their input with the counts so far ("fed": clients that had an event since
// the last line; "refused48b": messages of type 48 and code 2 that a full pipe refused). They end with their input.
#include <algorithm>
#include <array>
#include <deque>

#include "Vorn/INet_Relay/EPoll/epoll.h"
#include "Vorn/Memory/Ref_memory.h"
#include "Vorn/Vorn_processor/Vorn_processor.h"
#include "programs/member.h"
#include "programs/words.h"

namespace peer {

namespace {

constexpr Msg_code c_echo = 1, c_news = 2;

Count &g_linked = g_counts["linked"], &g_asked = g_counts["asked"];
Count &g_answered = g_counts["answered"], &g_events = g_counts["events"], &g_last = g_counts["last"];
Count& g_fed = g_counts["fed"];
const std::atomic<double> g_once_a_second{1};

/// Messages that came to this process and were refused by its full pipe, by type, apart for those of code 2.
std::array<Count, 512> g_refused;

void count_refusals() {
    send_sdk__ = [](Token _token, Packet* _pkt) -> int {
        const auto type = static_cast<std::size_t>(_pkt->get_msg_type()) + (_pkt->header.code == 2 ? 256 : 0);
        const Error result = send_sdk(_token, _pkt);
        if (result != 0) ++g_refused[type];
        return result;
    };
}

struct Server : Stub {
    Member<Stub_call> calls{[](const void*, Pksize) -> Error { return ++g_answered, 0; }, c_echo, Pksize{1024}, *this};
    Stub_event news{c_news, *this};
};

class User : Proxy_call, Proxy_event {
public:
    User(std::size_t _index, Addr _service, int _patience)
        : Proxy_call(c_echo),
          Proxy_event(c_news),
          index(std::to_string(_index)),
          patience(_patience),
          service(_service.ip, static_cast<Port>(_service.port + _index)) {
        start(service);
    }
    void call() {
        Msg_num num = 0;
        g_asked += delegate_call(&num, "call", 4, c_endless) == 0 ? 1 : 0;
    }
    /// Once a second. A pipe that is full may have refused the request for the link, its answer, or a notice.
    void look_after() {
        const bool was_missing = std::exchange(missing, is_connected() && !is_linked());
        if (missing && was_missing) link(" link again");
        if (patience == 0 || ++silent_for < patience) return;
        silent_for = 0;
        say(index + " anew");
        stop();
        start(service);
    }

private:
    void on_connect() override { link(" up"); }
    void on_disconnect() override { say(index + " down"); }
    void on_link(Msg_num, Error _err, double) override {
        if (_err == 0) ++g_linked;
        say(index + " link " + name_of(_err));
    }
    void on_unlink(Error _err) override { say(index + " unlink " + name_of(_err)); }
    void on_event(const void* _data, Pksize, double) override {
        unsigned number = 0;
        std::memcpy(&number, _data, sizeof number);
        g_last = number;
        ++g_events;
        if (fed_in.exchange(g_round) != g_round) ++g_fed;
        silent_for = 0;
    }
    void on_return(Msg_num, Error _err, const void*, Pksize, double) override { g_answered += _err == 0 ? 1 : 0; }
    void link(const char* _why) {
        say(index + _why);
        Msg_num num = 0;
        if (const Error err = delegate_link(&num, c_endless); err != 0) say(index + " link " + name_of(err));
    }
    static std::string name_of(Error _error) { return _error == 0 ? "0" : get_err_str(_error); }

    const std::string index;
    const int patience;
    const Addr service;
    bool missing = false;
    std::atomic<int> silent_for{0};
    std::atomic<unsigned> fed_in{0};
};

int serve(const Arguments& _arguments) {
    std::deque<Server> servers(static_cast<std::size_t>(_arguments.number(1)));
    Port port = _arguments.port(0);
    for (Server& one : servers) {
        if (const Error err = one.start(_arguments.size() > 4 ? _arguments[4] : nullptr, &port); err != 0) {
            say("failed " + std::to_string(err));
            return 1;
        }
        ++port;
    }
    say("ready");
    g_rate = _arguments.number(2);
    std::vector<char> news(std::max<std::size_t>(4, static_cast<std::size_t>(_arguments.number(3))));
    return run(beat(g_rate, [&servers, &news] {
        const auto number = static_cast<unsigned>(++g_events);
        std::memcpy(news.data(), &number, sizeof number);
        for (Server& one : servers) one.news.event(news.data(), static_cast<Pksize>(news.size()));
    }));
}

int use(const Arguments& _arguments) {
    const Addr first = _arguments.address(0);
    const auto count = static_cast<std::size_t>(_arguments.number(2));
    std::deque<User> users;
    for (std::size_t i = 0; i < count; ++i) users.emplace_back(i, first, static_cast<int>(_arguments.number(4)));
    g_rate = _arguments.number(3) * static_cast<double>(count);
    const auto call = [&, turn = std::size_t{0}]() mutable { users[++turn % count].call(); };
    return run(beat(g_rate, call), beat(g_once_a_second, [&] {
                   for (User& one : users) one.look_after();
               }));
}

int find(const Arguments& _arguments) {
    g_rate = 100;
    return run(beat(g_rate, [name = _arguments[0], last = std::string()]() mutable {
        Addr found;
        std::string now = "lost";
        if (get_address(name, &found) != 0) {
            now = "found " + std::string(Vorn35::inet_ntoa(found.ip)) + ":" + std::to_string(found.port);
        }
        if (std::exchange(last, now) != now) say(now);
    }));
}

}  // namespace

void tell_counts() {
    std::string line = "counts";
    for (const auto& [name, count] : g_counts) line += " " + name + " " + std::to_string(count);
    for (std::size_t i = 0; i < g_refused.size(); ++i) {
        if (g_refused[i] == 0) continue;
        line += " refused" + std::to_string(i % 256) + (i < 256 ? " " : "b ") + std::to_string(g_refused[i]);
    }
    const auto add = [&line, all = statistics()](const char* _name, const char* _counter) {
        line += std::string(" ") + _name + " " + std::to_string(static_cast<std::uint64_t>(sum_of(all, _counter)));
    };
    add("blocks", "vorn35_memory_bytes");
    add("refused", "vorn35_messages_refused_total");
    add("dropped", "vorn35_messages_droppable_dropped_total");
    say(line);
    ++g_round;
    g_fed = 0;
}

}  // namespace peer

int main(int _count, char** _arguments) {
    using namespace peer;
    const std::map<std::string, int (*)(const Arguments&)> words{{"serve", serve},
                                                                 {"use", use},
                                                                 {"find", find},

                                                                 {"serve_kinds", serve_kinds},
                                                                 {"drive_kinds", drive_kinds},
                                                                 {"demo", demonstrate}};
    const auto word = words.find(_count > 2 ? _arguments[1] : "");
    if (word == words.end()) return 2;
    if (word->second != demonstrate) {
        Vorn35::initialize();
        count_refusals();
    }
    return word->second({{_arguments + 2, _arguments + _count}});
}
