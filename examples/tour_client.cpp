/// The client of the tour: finds the service by its name, calls it in all three ways, and shows what happens
/// when something does not go well. Prints an account, and ends with 0 when everything was as it should be.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <limits>
#include <semaphore>
#include <thread>
#include <vector>

#include "account.h"
#include "tour.h"

using namespace Vorn35;
using namespace std::chrono_literals;

namespace {

/// Longer than anything here takes, even on a busy machine.
constexpr auto c_patience = 8s;
constexpr double c_limit = 1.0;

/// The connection to the service. It comes up in the background, and comes back by itself.
class Client : public Proxy {
public:
    bool wait_connected() { return connected.try_acquire_for(c_patience); }
    bool wait_disconnected() { return disconnected.try_acquire_for(c_patience); }

private:
    void on_connect() override { connected.release(); }
    void on_disconnect() override { disconnected.release(); }

    std::counting_semaphore<> connected{0};
    std::counting_semaphore<> disconnected{0};
};

/// A call whose answer comes to a callback.
class Delegate_add : public Proxy_call {
public:
    explicit Delegate_add(const Proxy& _proxy) : Proxy_call(tour::c_add, _proxy) {}

    void on_return(Msg_num, Error _err, const void* _data_, Pksize _size, double) override {
        result = _err;
        if (_size == sizeof sum) std::memcpy(&sum, _data_, sizeof sum);
        answered.release();
    }

    std::binary_semaphore answered{0};
    Error result = VORN_ERR_NONE_;
    double sum = 0;
};

std::string text_of(Error _err) {
    switch (_err) {
        case tour::c_not_a_number:
            return "the service's own error: not a number";
        case tour::c_gave_up:
            return "the service's own error: gave up";
        default:
            return get_err_str(_err);
    }
}

std::string text_of(Addr _addr) {
    return std::string(inet_ntoa(_addr.ip)) + ":" + std::to_string(_addr.port);
}

class Tour {
public:
    int run() {
        if (!find() || !connect()) return account.exit_code();
        delegate();
        blocking();
        outstanding();
        error_return();
        limit();
        cancel();
        nobody();
        away_and_back();
        Msg_num number = 0;
        leave.delegate_call(&number, nullptr, 0, c_limit);
        std::printf("\n%s\n",
                    account.exit_code() == 0 ? "All was as it should be." : "Something went wrong, see above.");
        return account.exit_code();
    }

private:
    bool find() {
        account.title("A service is found by its name");
        const tour::Stopwatch watch;
        // Every process tells the names of its services once a second.
        while (get_address(tour::c_name, &service) == 0 && watch.seconds() < 5) std::this_thread::sleep_for(10ms);
        const bool found = service.port != 0;
        account.step("look up \"tour\" in the directory", found ? "at " + text_of(service) : "not found",
                     watch.seconds(), found);
        return found;
    }

    bool connect() {
        const tour::Stopwatch watch;
        const Error started = client.start(service);
        const bool connected = started == VORN_ERR_NONE_ && client.wait_connected();
        account.step("connect", connected ? "on_connect" : text_of(started), watch.seconds(), connected);
        return connected;
    }

    /// One call and its answer. An answer that is there before the wait begins does not end the wait, so a
    /// call that may safely be made twice is made again when its limit has passed, with a longer one.
    static Error ask(Proxy_call& _call, const void* _data, Pksize _data_size, void* _out_, Pksize _out_size) {
        Error result = VORN_ERR_LOCAL_TIMEOUT_;
        for (double limit = 0.05; limit < 2 && result == VORN_ERR_LOCAL_TIMEOUT_; limit *= 2) {
            Pksize size = _out_size;
            result = _call.await_return(_call.async_call(_data, _data_size, limit), _out_, &size, nullptr);
        }
        return result;
    }

    Error add(double _a, double _b, double* _sum_) {
        const tour::Terms terms{_a, _b};
        return ask(delegate_add, &terms, sizeof terms, _sum_, sizeof *_sum_);
    }

    void delegate() {
        account.title("Three ways to call");
        const tour::Terms terms{1, 2};
        Msg_num number = 0;
        const tour::Stopwatch watch;
        const Error sent = delegate_add.delegate_call(&number, &terms, sizeof terms, c_limit);
        const bool answered = sent == VORN_ERR_NONE_ && delegate_add.answered.try_acquire_for(c_patience);
        account.step("delegate: 1 + 2, answer by callback",
                     answered ? "on_return: " + std::to_string(delegate_add.sum) : text_of(sent), watch.seconds(),
                     answered && delegate_add.result == VORN_ERR_NONE_ && delegate_add.sum == 3);
    }

    void blocking() {
        double sum = 0;
        const tour::Stopwatch watch;
        const Error result = add(3, 4, &sum);
        account.step("async and await at once: 3 + 4", text_of(result) + ", " + std::to_string(sum), watch.seconds(),
                     result == VORN_ERR_NONE_ && sum == 7);
    }

    void outstanding() {
        constexpr int count = 5;
        std::atomic<int> answered{0};
        const tour::Stopwatch watch;
        std::vector<std::thread> waiters;
        for (int i = 1; i <= count; ++i) {
            const double work = 0.1 * i;
            Promise_ const first = work_call.async_call(&work, sizeof work, c_limit);
            // Each waits for itself, so that one answer that was missed costs no other.
            waiters.emplace_back([this, &answered, first, work] {
                Error result = work_call.await_return(first, nullptr, nullptr, nullptr);
                for (int again = 0; again < 2 && result == VORN_ERR_LOCAL_TIMEOUT_; ++again) {
                    result = work_call.await_return(work_call.async_call(&work, sizeof work, c_limit), nullptr, nullptr,
                                                    nullptr);
                }
                answered += result == VORN_ERR_NONE_ ? 1 : 0;
            });
        }
        for (std::thread& waiter : waiters) waiter.join();
        account.step("async: 100, 200 ... 500 ms of work, await each", std::to_string(answered) + " of 5 answered",
                     watch.seconds(), answered == count);
    }

    void error_return() {
        account.title("What does not go well");
        double sum = 0;
        const tour::Stopwatch watch;
        const Error result = add(std::numeric_limits<double>::quiet_NaN(), 1, &sum);
        account.step("an error of the service", text_of(result), watch.seconds(), result == tour::c_not_a_number);
    }

    void limit() {
        const double work = 1.0;
        const tour::Stopwatch watch;
        const Error result =
            work_call.await_return(work_call.async_call(&work, sizeof work, 0.2), nullptr, nullptr, nullptr);
        account.step("1 s of work, time limit 0.2 s", text_of(result), watch.seconds(),
                     result == VORN_ERR_LOCAL_TIMEOUT_);
        work_call.cancel(VORN_ERR_LOCAL_TIMEOUT_);
    }

    void cancel() {
        const double work = 3.0;
        const tour::Stopwatch watch;
        Promise_ const promise = work_call.async_call(&work, sizeof work, 5.0);
        std::thread canceller([this] {
            std::this_thread::sleep_for(300ms);
            work_call.cancel(VORN_ERR_NONE_);
        });
        const Error result = work_call.await_return(promise, nullptr, nullptr, nullptr);
        canceller.join();
        account.step("3 s of work, cancelled after 0.3 s", text_of(result), watch.seconds(), result == tour::c_gave_up);
    }

    void nobody() {
        const tour::Stopwatch watch;
        Error result = ask(nobody_call, nullptr, 0, nullptr, 0);
        account.step("a code that the service does not have", text_of(result), watch.seconds(),
                     result == VORN_ERR_NOT_SUPPORT_CODE_);

        const tour::Stopwatch second_watch;
        Proxy stranger;
        Proxy_call stranger_call(tour::c_add, stranger);
        stranger.start(Addr(service.ip, tour::c_port + 1));
        result = stranger_call.await_return(stranger_call.async_call(nullptr, 0, c_limit), nullptr, nullptr, nullptr);
        account.step("a port that nobody serves", text_of(result), second_watch.seconds(),
                     result == VORN_ERR_OBJECT_IS_NOT_EXIST_);
    }

    void away_and_back() {
        account.title("The service goes away and comes back");
        const tour::Stopwatch watch;
        Msg_num number = 0;
        leave.delegate_call(&number, nullptr, 0, c_limit);
        const bool gone = client.wait_disconnected();
        account.step("ask it to leave", gone ? "on_disconnect" : "still there", watch.seconds(), gone);

        const tour::Stopwatch back_watch;
        const bool back = client.wait_connected();
        account.step("wait for it", back ? "on_connect: connected again by itself" : "did not come back",
                     back_watch.seconds(), back);

        double sum = 0;
        const tour::Stopwatch call_watch;
        const Error result = add(5, 6, &sum);
        account.step("call again: 5 + 6", text_of(result) + ", " + std::to_string(sum), call_watch.seconds(),
                     result == VORN_ERR_NONE_ && sum == 11);
    }

    tour::Account account;
    Addr service;
    // The members are attached to the client, so they are declared after it and go before it.
    Client client;
    Delegate_add delegate_add{client};
    Proxy_call work_call{tour::c_work, client};
    Proxy_call nobody_call{tour::c_nobody, client};
    Proxy_call leave{tour::c_leave, client};
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
