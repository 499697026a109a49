// The service of thermometer.proto, until its input ends.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

#include "Vorn35/Vorn35.h"
#include "thermometer.vorn35.h"

namespace {

namespace typed = Vorn35::typed;

class Thermometer : public demo::Thermometer_service {
public:
    /// A reading of the hall; above the level there is an alarm.
    void measure() {
        demo::Reading reading;
        reading.set_room("hall");
        reading.set_number(++measured);
        reading.set_degrees(degrees + static_cast<double>(measured % 10) / 10);
        report(current.set(reading));
        if (reading.degrees() > level) report(alarm.publish(reading));
        demo::Frame frame;
        frame.set_pixels(std::string(64, '#'));
        report(raw.broadcast(frame));
    }

private:
    typed::Result<demo::Temperature> read(const demo::Query& _query, const typed::Call_context&) override {
        if (_query.room() != "hall") return typed::Failure(7, "no such room: " + _query.room());
        demo::Temperature temperature;
        temperature.set_degrees(degrees);
        return temperature;
    }
    void reset(const demo::Level& _level, const typed::Call_context&) override { level = _level.degrees(); }
    void target(const demo::Setting& _setting, const typed::Call_context&) override { degrees = _setting.degrees(); }

    static void report(const typed::Result<void>& _result) {
        if (!_result) std::puts(_result.failure().message().c_str());
    }

    // Handlers of different members run in parallel.
    std::atomic<double> degrees{20};
    std::atomic<double> level{100};
    std::atomic<std::uint64_t> measured{0};
};

}  // namespace

int main() {
    Vorn35::initialize(Vorn35::Runtime_options::reliable());
    Thermometer thermometer;
    const typed::Result<Vorn35::Port> port = thermometer.start();
    if (!port) {
        std::puts(port.failure().message().c_str());
        return 1;
    }
    std::printf("serving on port %d\n", *port);
    std::fflush(stdout);

    std::mutex mutex;
    std::condition_variable changed;
    bool ends = false;
    std::thread ticker([&] {
        std::unique_lock lock(mutex);
        while (!changed.wait_for(lock, std::chrono::milliseconds(100), [&] { return ends; })) thermometer.measure();
    });
    while (std::getchar() != EOF) {
    }
    {
        const std::lock_guard lock(mutex);
        ends = true;
        changed.notify_one();
    }
    ticker.join();
    thermometer.stop();
    Vorn35::finalize();
}
