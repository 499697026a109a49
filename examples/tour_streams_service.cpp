/// The service of the second half of the tour: one member of each kind. Runs until a client asks it to end.

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <semaphore>
#include <thread>

#include "tour_streams.h"

using namespace Vorn35;

namespace {

/// Publishes every note to the clients of the event.
class Note : public Stub_signal {
public:
    Note(const Stub& _stub, Stub_event& _noted) : Stub_signal(tour::c_note, _stub, nullptr), noted(_noted) {}

    /// The client has its answer already: a signal says that it arrived, not what became of it.
    void on_signal(Addr, const void* _text, Pksize _size, double) override { noted.event(_text, _size); }

private:
    Stub_event& noted;
};

/// Tells a client what it wrote.
class Targets : public Stub_call {
public:
    Targets(const Stub& _stub, Stub_command& _target)
        : Stub_call(tour::c_targets, tour::c_kept * sizeof(int), _stub), target(_target) {}

    Error on_call(Addr _client, const void*, Pksize, void* _out_, Pksize* _out_size_, double, double) override {
        // A snapshot: it stays valid while new values come in.
        History history = target.see_history(_client, tour::c_kept);
        *_out_size_ = 0;
        for (unsigned i = 0; i < history.size(); ++i) {
            if (history[i].size != sizeof(int)) continue;
            std::memcpy(static_cast<char*>(_out_) + *_out_size_, history[i].buffer_, sizeof(int));
            *_out_size_ += sizeof(int);
        }
        return VORN_ERR_NONE_;
    }

private:
    Stub_command& target;
};

class Shout : public Stub_call {
public:
    Shout(const Stub& _stub, Stub_datagram& _datagram) : Stub_call(tour::c_do_shout, 0, _stub), datagram(_datagram) {}

    Error on_call(Addr, const void* _text, Pksize _size, void*, Pksize*, double, double) override {
        return datagram.broadcast(_text, _size);
    }

private:
    Stub_datagram& datagram;
};

/// More than a client can take: many readings, and a few notes between them.
class Burst : public Stub_call {
public:
    Burst(const Stub& _stub, Stub_information& _level, Stub_event& _noted)
        : Stub_call(tour::c_do_burst, 0, _stub), level(_level), noted(_noted) {}

    Error on_call(Addr, const void*, Pksize, void*, Pksize*, double, double) override {
        for (int i = 1; i <= tour::c_burst_readings; ++i) {
            const tour::Reading reading{i, 0};
            level.write(&reading, sizeof reading);
            if (i % (tour::c_burst_readings / tour::c_burst_notes) == 0) noted.event("burst", 5);
            // Still faster by far than the receiver. Without a pause all could be there before it has taken the first.
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        return VORN_ERR_NONE_;
    }

private:
    Stub_information& level;
    Stub_event& noted;
};

class End : public Stub_call {
public:
    explicit End(const Stub& _stub) : Stub_call(tour::c_end, 0, _stub) {}

    Error on_call(Addr, const void*, Pksize, void*, Pksize*, double, double) override {
        asked.release();
        return VORN_ERR_NONE_;
    }

    std::counting_semaphore<> asked{0};
};

}  // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    initialize();
    int exit_code = 0;
    Stub service;
    Stub_event noted(tour::c_noted, service);
    Note note(service, noted);
    Stub_information level(tour::c_level, service);
    Stub_information burst_level(tour::c_burst_level, service);
    Stub_command target(tour::c_target, service);
    Stub_datagram datagram(tour::c_shout, service);
    Targets targets(service, target);
    Shout shout(service, datagram);
    Burst burst(service, burst_level, noted);
    End end(service);

    target.set_history_size(tour::c_kept);
    Port port = tour::c_streams_port;
    if (const Error started = service.start(tour::c_streams_name, &port); started != VORN_ERR_NONE_) {
        std::printf("  service | cannot start: %s\n", started > 0 ? std::strerror(started) : get_err_str(started));
        exit_code = 1;
    } else {
        // The newest level goes out 20 times a second, however often it is written.
        level.set_sync_model(on_timer, 0.05);
        for (int i = 1; !end.asked.try_acquire_for(std::chrono::milliseconds(25)); ++i) {
            const tour::Reading reading{i, std::sin(i * 0.1)};
            level.write(&reading, sizeof reading);
        }
    }
    finalize();
    return exit_code;
}
