#include "driver/workloads.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>

namespace bench {

namespace {

constexpr std::array<std::size_t, 4> c_sizes{4, 1024, 65536, 1048576};

std::string text_of(std::size_t size) {
    if (size >= 1048576) return std::to_string(size / 1048576) + " MiB";
    if (size >= 1024) return std::to_string(size / 1024) + " KiB";
    return std::to_string(size) + " B";
}

std::string placement(bool pinned) {
    return pinned ? ", pinned" : ", unpinned";
}

// Messages under way to one receiver, for the paced cases: one less than our pipe takes.
constexpr unsigned c_burst = 16;
// Unpaced senders may fill queues: this bounds them.
constexpr std::size_t c_most_unpaced = 30000;

/// W1, W2: calls.
void add_calls(std::vector<Case>& cases, double seconds) {
    for (const bool pinned : {true, false}) {
        for (const std::size_t size : c_sizes) {
            for (const char* kind : {"call", "async"}) {
                const bool quick = size == 4 || (size == 1024 && pinned);
                const std::string title = kind == std::string("call") ? "blocking call, " : "delegate call, ";
                cases.push_back({"W1", title + text_of(size) + placement(pinned),
                                 Job{.kind = kind, .size = size, .pinned = pinned, .seconds = seconds}, "p50_us", quick,
                                 size == 4 && pinned});
            }
        }
    }
    for (const bool pinned : {true, false}) {
        for (const std::size_t size : {4, 1024}) {
            cases.push_back({"W2", "16 calls outstanding, " + text_of(size) + placement(pinned),
                             Job{.kind = "async", .size = size, .window = 16, .pinned = pinned, .seconds = seconds},
                             "rate", size == 4, size == 4 && pinned});
        }
    }
}

/// W3, W4: one to many.
void add_fan_out(std::vector<Case>& cases, double seconds) {
    for (const unsigned clients : {1U, 8U, 32U}) {
        for (const std::size_t size : {64, 1024}) {
            const std::string title = "event to " + std::to_string(clients) + ", " + text_of(size);
            Job job{.kind = "event", .size = size, .clients = clients, .burst = c_burst, .seconds = seconds};
            cases.push_back({"W3", title + ", paced", job, "rate", clients == 8 && size == 64});
            job.burst = 0;
            job.most = c_most_unpaced;
            cases.push_back({"W3", title + ", unpaced", job, "rate"});
        }
    }
    for (const unsigned clients : {8U, 32U}) {
        const std::string title = "multicast to " + std::to_string(clients) + ", 1 KiB";
        Job job{.kind = "multicast", .size = 1024, .clients = clients, .rate = 1000, .seconds = seconds};
        cases.push_back({"W4", title + ", 1000 posts a second", job, "cpu_us", clients == 8});
        job.rate = 0;
        job.most = c_most_unpaced;
        cases.push_back({"W4", title + ", unpaced", job, "rate", clients == 8});
    }
}

/// W5 to W8.
void add_rest(std::vector<Case>& cases, double seconds) {
    cases.push_back({"W5", "1000 idle connections", Job{.kind = "idle", .clients = 1000, .seconds = 3},
                     "cpu_us_per_connection_s", false, false, 1});
    cases.push_back({"W6", "from initialize to the first answer, by address", Job{.kind = "first"}, "p50_us", true});
    cases.push_back(
        {"W6", "from initialize to the first answer, by name", Job{.kind = "first", .by_name = true}, "p50_us"});
    Job command{.kind = "command", .size = 64, .clients = 8, .burst = c_burst / 8, .seconds = seconds};
    cases.push_back({"W7", "command values of 8 clients, 64 B, paced", command, "rate", true});
    command.burst = 0;
    command.most = c_most_unpaced;
    cases.push_back({"W7", "command values of 8 clients, 64 B, unpaced", command, "rate"});
    cases.push_back({"W8", "stream of 1 MiB values, 100 a second",
                     Job{.kind = "stream", .size = 1048576, .rate = 100, .seconds = 2 * seconds}, "p50_us", true});
}

/// What a call costs beside more and more of something. It should not grow.
void add_scaling(std::vector<Case>& cases, double seconds) {
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    // A service has two sockets.
    const auto most_names = static_cast<unsigned>(std::min<rlim_t>(10000, (files.rlim_max - 400) / 2));
    const auto add = [&](const char* of, unsigned more) {
        Case c{"S", std::string("a call beside more ") + of, Job{}, "p50_us"};
        for (const unsigned crowd : {0U, 10U, 100U, 1000U, more}) {
            if (!c.variants.empty() && crowd == 0) continue;
            const Job job{.pinned = true, .crowd_of = of, .crowd = crowd, .seconds = seconds};
            c.variants.push_back({std::to_string(crowd), job});
        }
        cases.push_back(c);
    };
    add("connections", 0);
    add("members", 10000);
    add("names", most_names);
    add("queued", 0);
}

}  // namespace

std::vector<Case> all_cases(bool quick) {
    const double seconds = quick ? 0.15 : 0.4;
    std::vector<Case> cases;
    add_calls(cases, seconds);
    add_fan_out(cases, seconds);
    add_rest(cases, seconds);
    add_scaling(cases, seconds);
    if (quick) std::erase_if(cases, [](const Case& c) { return !c.quick; });
    return cases;
}

}  // namespace bench
