// A client of thermometer.proto: each kind once, then the streams until its input ends.

#include <cstdio>
#include <mutex>

#include "Vorn35/Vorn35.h"
#include "thermometer.vorn35.h"

namespace {

namespace typed = Vorn35::typed;

void say(const char* _what, const std::string& _text) {
    std::printf("%s: %s\n", _what, _text.c_str());
    std::fflush(stdout);
}

/// The answer in words.
std::string words(const typed::Result<demo::Temperature>& _answer) {
    return _answer ? std::to_string(_answer->degrees()) : "failed, " + _answer.failure().message();
}

demo::Query room(const char* _name) {
    demo::Query query;
    query.set_room(_name);
    return query;
}

/// Two calls one after the other, without a thread that waits.
typed::Task<> compare(demo::Thermometer_client& _client, typed::Run_loop& _loop) {
    say("co_await hall", words(co_await _client.read.co_call(room("hall"))));
    say("co_await attic", words(co_await _client.read.co_call(room("attic"))));
    _loop.stop();
}

}  // namespace

int main() {
    Vorn35::initialize(Vorn35::Runtime_options::reliable());
    demo::Thermometer_client client;
    client.alarm.subscribe([](const typed::Result<demo::Reading>& _reading) {
        if (_reading) say("alarm", _reading->room());
    });
    client.current.subscribe([](const typed::Result<demo::Reading>& _reading) {
        if (_reading) say("current", std::to_string(_reading->number()));
    });
    client.raw.subscribe([](const typed::Result<demo::Frame>& _frame) {
        if (_frame) say("raw", std::to_string(_frame->pixels().size()));
    });
    if (client.start() != 0 || !client.wait_until_ready(20)) {
        std::puts("there is no thermometer");
        return 1;
    }

    say("hall", words(client.read(room("hall"))));
    say("attic", words(client.read(room("attic"), 0.2)));

    client.read.delegate(room("hall"),
                         [](const typed::Result<demo::Temperature>& _answer) { say("delegated", words(_answer)); });
    {
        typed::Run_loop loop;
        typed::Scope scope(loop);
        scope.spawn(compare(client, loop));
        loop.run();
    }

    demo::Level level;
    level.set_degrees(10);
    say("reset", client.reset(level) ? "arrived" : "failed");
    demo::Setting setting;
    setting.set_degrees(22.5);
    say("target", client.target.set(setting) ? "sent" : "failed");

    // The streams go on, also when the service has been away. A line asks once more.
    for (int c = 0; (c = std::getchar()) != EOF;) {
        if (c != '\n') continue;
        say("hall", words(client.read(room("hall"))));
        say("reset", client.reset(level) ? "arrived" : "failed");
    }
    const typed::History<demo::Reading> history = client.current.history(16);
    say("history", std::to_string(history.size()));
    client.stop();
    Vorn35::finalize();
}
