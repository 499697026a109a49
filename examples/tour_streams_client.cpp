/// The client of the second half of the tour: signal, event, information, command and datagram, and a receiver that is
/// too slow. Prints an account, and ends with 0 when everything was as it should be.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "account.h"
#include "tour_streams.h"

using namespace Vorn35;
using namespace std::chrono_literals;

namespace {

constexpr auto c_patience = 8s;
constexpr double c_limit = 1.0;

/// The connection to the service.
class Client : public Proxy {
public:
    std::counting_semaphore<> connected{0};

private:
    void on_connect() override { connected.release(); }
};

/// Sends a note, and waits for the word that it arrived.
class Note : public Proxy_signal {
public:
    explicit Note(const Proxy& _proxy) : Proxy_signal(tour::c_note, _proxy) {}

    Error send(const char* _text, Pksize _size) {
        Msg_num number = 0;
        const Error sent = delegate_signal(&number, _text, _size, c_limit);
        if (sent != VORN_ERR_NONE_) return sent;
        return answered.try_acquire_for(c_patience) ? result : Error{VORN_ERR_LOCAL_TIMEOUT_};
    }
    void on_return(Msg_num, Error _err, double) override {
        result = _err;
        answered.release();
    }

private:
    Error result = VORN_ERR_NONE_;
    std::binary_semaphore answered{0};
};

class Noted : public Proxy_event {
public:
    explicit Noted(const Proxy& _proxy) : Proxy_event(tour::c_noted, _proxy) {}

    void on_link(Msg_num, Error _err, double) override {
        result = _err;
        linked.release();
    }
    void on_event(const void*, Pksize _size, double) override {
        last_size = _size;
        heard.release();
    }

    Error result = VORN_ERR_NONE_;
    std::atomic<Pksize> last_size{0};
    std::counting_semaphore<> linked{0};
    std::counting_semaphore<> heard{0};
};

/// Follows a value, and may take its time over each.
class Level : public Proxy_information {
public:
    Level(Msg_code _code, const Proxy& _proxy, std::chrono::milliseconds _time_taken = 0ms)
        : Proxy_information(_code, _proxy), time_taken(_time_taken) {}

    void on_sync(Sync_model, double, double, const void*, Pksize) override {
        std::this_thread::sleep_for(time_taken);
        ++values;
        came.release();
    }

    std::atomic<int> values{0};
    std::counting_semaphore<> came{0};

private:
    const std::chrono::milliseconds time_taken;
};

class Shout : public Proxy_datagram {
public:
    explicit Shout(const Proxy& _proxy) : Proxy_datagram(tour::c_shout, _proxy) {}

    std::counting_semaphore<> heard{0};

private:
    void on_datagram(Addr, const void*, Pksize, double) override { heard.release(); }
};

/// Waits for so many releases; tells how many came.
int await(std::counting_semaphore<>& _semaphore, int _count) {
    int came = 0;
    while (came < _count && _semaphore.try_acquire_for(c_patience)) ++came;
    return came;
}

/// An answer that is there before the wait for it begins does not end the wait: what may be asked twice is asked again,
/// with a longer limit.
template <class Ask>
Error ask(Ask _ask) {
    Error result = VORN_ERR_LOCAL_TIMEOUT_;
    for (double limit = 0.05; limit < 2 && result == VORN_ERR_LOCAL_TIMEOUT_; limit *= 2) result = _ask(limit);
    return result;
}

class Tour {
public:
    int run() {
        if (!connect()) return account.exit_code();
        signal_and_event();
        information(true);
        information(false);
        command();
        datagram();
        slow_receiver();
        Msg_num number = 0;
        end.delegate_call(&number, nullptr, 0, c_limit);
        client.stop();
        std::printf("\n%s\n",
                    account.exit_code() == 0 ? "All was as it should be." : "Something went wrong, see above.");
        return account.exit_code();
    }

private:
    bool connect() {
        account.title("One member of each kind");
        const tour::Stopwatch watch;
        while (get_address(tour::c_streams_name, &service) == 0 && watch.seconds() < 5) {
            std::this_thread::sleep_for(10ms);
        }
        const bool connected = client.start(service) == VORN_ERR_NONE_ && client.connected.try_acquire_for(c_patience);
        account.step("find \"tour_streams\" and connect", connected ? "on_connect" : "no connection", watch.seconds(),
                     connected);
        return connected;
    }

    void signal_and_event() {
        const tour::Stopwatch link_watch;
        Msg_num number = 0;
        noted.delegate_link(&number, c_limit);
        const bool linked = noted.linked.try_acquire_for(c_patience) && noted.result == VORN_ERR_NONE_;
        account.step("event: ask for a link", linked ? "on_link" : get_err_str(noted.result), link_watch.seconds(),
                     linked);

        const tour::Stopwatch watch;
        const Error taken = note.send("hello", 5);
        account.step("signal: a note of 5 bytes", get_err_str(taken), watch.seconds(), taken == VORN_ERR_NONE_);
        const bool heard = noted.heard.try_acquire_for(c_patience) && noted.last_size == 5;
        account.step("event: the service passes the note on", heard ? "on_event, 5 bytes" : "nothing came",
                     watch.seconds(), heard);
    }

    void information(bool _reliable) {
        const tour::Stopwatch watch;
        level.set_history_size(tour::c_kept);
        const Error linked =
            ask([&](double _limit) { return level.await_link_return(level.async_link(_reliable, _limit), nullptr); });
        const int came = linked == VORN_ERR_NONE_ || level.is_linked() ? await(level.came, tour::c_kept) : 0;
        account.step(_reliable ? "information by TCP: await 5 values" : "information by multicast: await 5 values",
                     std::to_string(came) + " times on_sync", watch.seconds(), came == tour::c_kept);

        // The newest first; the snapshot stays as it is while values go on coming.
        History history = level.see_history(tour::c_kept);
        bool descending = history.size() == tour::c_kept;
        int newer = 0;
        std::string numbers;
        for (unsigned i = 0; i < history.size(); ++i) {
            const int number = static_cast<const tour::Reading*>(history[i].buffer_)->number;
            if (i > 0) descending = descending && number <= newer;
            newer = number;
            numbers += (i == 0 ? "" : ", ") + std::to_string(number);
        }
        account.step("  its history, newest first", numbers, watch.seconds(), descending);
        level.unlink();
        while (level.came.try_acquire()) {
        }
    }

    /// The targets that the service has kept of ours, newest first.
    std::vector<int> kept_targets() {
        std::vector<int> kept(tour::c_kept);
        Pksize size = tour::c_kept * sizeof(int);
        const Error result = ask([&](double _limit) {
            return targets.await_return(targets.async_call(nullptr, 0, _limit), kept.data(), &size, nullptr);
        });
        kept.resize(result == VORN_ERR_NONE_ ? size / sizeof(int) : 0);
        return kept;
    }

    void command() {
        const tour::Stopwatch watch;
        const Error linked =
            ask([this](double _limit) { return target.await_link_return(target.async_link(_limit), nullptr); });
        account.step("command: ask for a link", get_err_str(linked), watch.seconds(), target.is_linked());

        const tour::Stopwatch write_watch;
        std::vector<int> kept;
        for (int value = 10; value <= 30; value += 10) {
            target.write(&value, sizeof value);
            // Two values that follow each other closely may overtake each other: see the first arrive.
            do kept = kept_targets();
            while ((kept.empty() || kept[0] != value) && write_watch.seconds() < 5);
        }
        std::string text;
        for (const int value : kept) text += (text.empty() ? "" : ", ") + std::to_string(value);
        account.step("  write 10, 20, 30; the service has kept", text, write_watch.seconds(), text == "30, 20, 10");
    }

    void datagram() {
        const tour::Stopwatch watch;
        const Error asked = ask([this](double _limit) {
            return shouting.await_return(shouting.async_call("hey", 3, _limit), nullptr, nullptr, nullptr);
        });
        const bool heard = shout.heard.try_acquire_for(c_patience);
        account.step("datagram: the service broadcasts", heard ? "on_datagram" : "nothing came", watch.seconds(),
                     asked == VORN_ERR_NONE_ && heard);
    }

    void slow_receiver() {
        account.title("A receiver that is too slow");
        const tour::Stopwatch watch;
        const Error linked =
            ask([this](double _limit) { return slow.await_link_return(slow.async_link(false, _limit), nullptr); });
        Msg_num number = 0;
        burst.delegate_call(&number, nullptr, 0, c_limit);
        const int notes = await(noted.heard, tour::c_burst_notes);
        const bool answered = !kept_targets().empty();
        // What was not dropped is taken one by one.
        while (slow.came.try_acquire_for(200ms)) {
        }
        const int values = slow.values;
        account.step("300 droppable values, 20 ms over each", std::to_string(values) + " taken, the others dropped",
                     watch.seconds(), linked == VORN_ERR_NONE_ && values > 0 && values < tour::c_burst_readings);
        account.step("10 events between them", std::to_string(notes) + " heard", watch.seconds(),
                     notes == tour::c_burst_notes);
        account.step("a call meanwhile", answered ? "answered" : "not answered", watch.seconds(), answered);
    }

    tour::Account account;
    Addr service;
    // The members are attached to the client, so they are declared after it and go before it.
    Client client;
    Noted noted{client};
    Note note{client};
    Level level{tour::c_level, client};
    Level slow{tour::c_burst_level, client, 20ms};
    Proxy_command target{tour::c_target, client};
    Shout shout{client};
    Proxy_call targets{tour::c_targets, client};
    Proxy_call shouting{tour::c_do_shout, client};
    Proxy_call burst{tour::c_do_burst, client};
    Proxy_call end{tour::c_end, client};
};

}  // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    initialize();
    Tour tour;
    const int exit_code = tour.run();
    // After this no callback runs any more, and the objects may go.
    finalize();
    return exit_code;
}
