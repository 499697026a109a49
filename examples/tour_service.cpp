/// The service of the tour: three calls under the name "tour". Runs until a client asks it to leave.

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <semaphore>

#include "tour.h"

using namespace Vorn35;

namespace {

/// Adds two numbers, and refuses what is none.
class Add : public Stub_call {
public:
    explicit Add(const Stub& _stub) : Stub_call(tour::c_add, sizeof(double), _stub) {}

    Error on_call(Addr, const void* _in_, Pksize _in_size, void* _out_, Pksize* _out_size_, double, double) override {
        tour::Terms terms{};
        // The payload comes from another process: look at its size before using it.
        if (_in_size != sizeof terms) return tour::c_not_a_number;
        std::memcpy(&terms, _in_, sizeof terms);
        const double sum = terms.a + terms.b;
        if (std::isnan(sum)) return tour::c_not_a_number;
        std::memcpy(_out_, &sum, sizeof sum);
        *_out_size_ = sizeof sum;
        return VORN_ERR_NONE_;
    }
};

/// Works for the time that the request names, or until a client cancels.
class Work : public Stub_call {
public:
    explicit Work(const Stub& _stub) : Stub_call(tour::c_work, 0, _stub) {}

    Error on_call(Addr, const void* _in_, Pksize _in_size, void*, Pksize*, double, double) override {
        double seconds = 0;
        if (_in_size != sizeof seconds) return tour::c_not_a_number;
        std::memcpy(&seconds, _in_, sizeof seconds);
        std::unique_lock lock(mutex);
        cancelled = false;
        const bool stopped = wake.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return cancelled; });
        return stopped ? tour::c_gave_up : VORN_ERR_NONE_;
    }

    void on_call_cancel(Addr, Error) override {
        {
            const std::lock_guard lock(mutex);
            cancelled = true;
        }
        wake.notify_all();
    }

private:
    std::mutex mutex;  // Guards `cancelled`.
    std::condition_variable wake;
    bool cancelled = false;
};

/// Ends the program.
class Leave : public Stub_call {
public:
    explicit Leave(const Stub& _stub) : Stub_call(tour::c_leave, 0, _stub) {}

    Error on_call(Addr, const void*, Pksize, void*, Pksize*, double, double) override {
        asked.release();
        return VORN_ERR_NONE_;
    }

    void wait() { asked.acquire(); }

private:
    std::counting_semaphore<> asked{0};
};

/// The service itself sees clients come and go.
class Service : public Stub {
    void on_connect(Addr _client) override {
        std::printf("  service | %s:%u connected\n", inet_ntoa(_client.ip), _client.port);
    }
    void on_disconnect(Addr _client) override {
        std::printf("  service | %s:%u went away\n", inet_ntoa(_client.ip), _client.port);
    }
};

}  // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    initialize();
    int exit_code = 0;
    Service service;
    Add add(service);
    Work work(service);
    Leave leave(service);

    Port port = tour::c_port;
    const Error started = service.start(tour::c_name, &port);
    if (started == VORN_ERR_NONE_) {
        // By default the messages of one call run one after the other, a cancel behind the work that it
        // is to stop. Here they may overtake.
        msg_processing_by_parallel(Msg_addr(port, tour::c_work, 1));
        std::printf("  service | started as \"%s\" on port %u\n", tour::c_name, port);
        leave.wait();
        std::printf("  service | leaves\n");
    } else {
        std::printf("  service | cannot start: %s\n", started > 0 ? std::strerror(started) : get_err_str(started));
        exit_code = 1;
    }
    finalize();
    return exit_code;
}
