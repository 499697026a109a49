/// @file
/// The main program of every contender: forks the processes of one job, measures them from outside, prints the
/// figures on one line and ends everybody. Exit code 3: this contender does not take part;
/// 4: this machine does not let system calls be counted.

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "harness/peer.h"
#include "harness/usage.h"

namespace bench {

bool Window::may_send() {
    std::uint64_t begun = begun_.load();
    do {
        if (is_over() || begun - ended_.load() >= window_ || begun >= most_) return false;
    } while (!begun_.compare_exchange_weak(begun, begun + 1));
    times_[begun % c_times].store(now_ns(), std::memory_order_relaxed);
    shared_.sent.fetch_add(1, std::memory_order_relaxed);
    return true;
}

void Window::answered() {
    const std::uint64_t ended = ended_.fetch_add(1);
    shared_.sample(now_ns() - times_[ended % c_times].load(std::memory_order_relaxed));
    shared_.arrived.fetch_add(1, std::memory_order_relaxed);
}

void Window::failed() {
    ended_.fetch_add(1);
    shared_.mistakes.fetch_add(1, std::memory_order_relaxed);
}

void Peer::absent() {
    _exit(3);
}

void rest() {
    for (;;) pause();
}

void Peer::received(const void* data, std::size_t size) {
    std::uint64_t sent_ns = 0;
    if (size >= sizeof sent_ns) {
        std::memcpy(&sent_ns, data, sizeof sent_ns);
        shared.sample(now_ns() - sent_ns);
    }
    shared.receipt(0);
}

namespace {

constexpr double c_setup_limit = 20;  // seconds; a loaded machine needs some of them

/// Whether all that is ever sent may be sent before the time is over. Then every message is measured.
bool is_bounded(const Job& job) {
    return job.most != Job{}.most;
}

/// Sends message after message, at the job's rate or as fast as the receipts allow, until the run is over.
template <class Send>
void send_all(const Job& job, Shared& shared, std::size_t track, unsigned receivers, Send send) {
    std::vector<char> message(job.size);
    wait_for(c_setup_limit, [&] { return shared.stage >= (is_bounded(job) ? Shared::measuring : Shared::warming); });
    const std::uint64_t begin = now_ns();
    for (std::uint64_t n = 0; !shared.is_over() && n < job.most; ++n) {
        if (job.rate > 0) {
            const std::uint64_t due = begin + static_cast<std::uint64_t>(static_cast<double>(n) / job.rate * 1e9);
            const std::uint64_t now = now_ns();
            if (due > now) usleep(static_cast<useconds_t>((due - now) / 1000));
        }
        const std::uint64_t now = now_ns();
        if (job.kind == "command") {
            message[0] = static_cast<char>(track);
        } else if (message.size() >= sizeof now) {
            std::memcpy(message.data(), &now, sizeof now);
        }
        send(message);
        shared.sent.fetch_add(1, std::memory_order_relaxed);
        if (job.burst != 0 && (n + 1) % job.burst == 0) shared.pace(track, job.burst * receivers);
    }
}

void run_service(const Job& job, Shared& shared) {
    const auto peer = make_peer(job, shared);
    if (!job.fans_out()) {
        peer->serve();
        return;
    }
    peer->open();
    send_all(job, shared, 0, job.clients, [&](const std::vector<char>& m) { peer->publish(m.data(), m.size()); });
    rest();
}

void run_client(const Job& job, Shared& shared, unsigned index) {
    const auto port = static_cast<unsigned short>(shared.port.load());
    const std::vector<char> message(job.size, 'x');

    if (job.kind == "first") {
        wait_for(c_setup_limit, [&] { return shared.stage >= Shared::measuring; });
        const std::uint64_t begin = now_ns();
        const auto peer = make_peer(job, shared);
        peer->connect(port, index);
        while (!peer->call(message.data(), message.size())) {
        }
        shared.sample(now_ns() - begin);
        ++shared.arrived;
        rest();
    }

    const auto peer = make_peer(job, shared);
    if (job.fans_out()) {
        peer->subscribe(port);
        return;
    }
    if (job.kind == "idle") {
        for (unsigned n = 0; n < job.clients; ++n) {
            peer->connect(port, n);
            // The first ones bring up what a process has once.
            if (n + 1 == std::min(10U, job.clients)) shared.baseline_kib = memory_kib({getpid(), shared.service});
        }
        ++shared.ready;
        rest();
    }

    peer->connect(port, index);
    ++shared.ready;
    if (job.kind == "command") {
        send_all(job, shared, index, 1, [&](const std::vector<char>& m) { peer->send(m.data(), m.size()); });
        rest();
    }
    wait_for(c_setup_limit, [&] { return shared.stage >= Shared::warming; });
    if (job.kind == "async") {
        Window window(job, shared);
        peer->call_many(message.data(), message.size(), window);
    } else {
        Window window(job, shared);
        while (window.may_send()) peer->call(message.data(), message.size()) ? window.answered() : window.failed();
    }
    rest();
}

/// Forks a process that runs `body` and dies with this one.
template <class Body>
pid_t start(const Job& job, Shared& shared, Body body) {
    const pid_t child = fork();
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (job.pinned) pin();
    int code = 1;
    try {
        body();
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "%s\n", fault.what());
    }
    ++shared.failed;
    _exit(code);
}

void add_percentiles(Shared& shared, Figures& figures) {
    const std::size_t count = std::min<std::size_t>(shared.sample_count, Shared::c_samples);
    if (count == 0) return;
    auto* const begin = shared.samples.data();
    std::sort(begin, begin + count);
    const auto at = [&](double share) {
        return begin[std::min(count - 1, static_cast<std::size_t>(share * static_cast<double>(count)))] / 1e3;
    };
    figures["p50_us"] = at(0.5);
    figures["p99_us"] = at(0.99);
    figures["p999_us"] = at(0.999);
}

/// Ends, by their ids, the processes that `run` started.
class Processes {
public:
    ~Processes() {
        for (const pid_t process : ids) kill(process, SIGKILL);
        for (const pid_t process : ids) waitpid(process, nullptr, 0);
    }
    std::vector<pid_t> ids;
};

/// All counters at one moment.
struct Moment {
    Moment(const Shared& shared, const Processes& processes, const std::optional<Syscall_counter>& counter)
        : ns(now_ns()),
          sent(shared.sent),
          arrived(shared.arrived),
          syscalls(counter ? counter->count() : 0),
          all(usage_of(processes.ids)),
          service(usage_of({processes.ids[0]})) {}

    std::uint64_t ns;
    std::uint64_t sent;
    std::uint64_t arrived;
    std::uint64_t syscalls;
    Usage all;
    Usage service;
};

/// Waits for the end of the measured part.
/// @return nanoseconds until the last message was sent, and until the last one arrived.
std::pair<std::uint64_t, std::uint64_t> wait_for_end(const Job& job, const Shared& shared) {
    const std::uint64_t begin = now_ns();
    if (job.kind == "first") {
        wait_for(c_setup_limit, [&] { return shared.arrived > 0 || shared.failed > 0; });
    } else if (!is_bounded(job)) {
        usleep(static_cast<useconds_t>(job.seconds * 1e6));
    } else {
        const std::uint64_t most = job.most * (job.fans_out() ? 1 : job.clients);
        std::uint64_t sent_ns = 0;
        std::uint64_t arrived_ns = 0;
        std::uint64_t arrived = 0;
        wait_for(job.seconds, [&] {
            const std::uint64_t now = now_ns() - begin;
            if (shared.sent < most) sent_ns = now;
            if (shared.arrived != arrived) arrived_ns = now;
            arrived = shared.arrived;
            return shared.sent >= most && now > arrived_ns + 20000000;
        });
        return {sent_ns, arrived_ns};
    }
    return {now_ns() - begin, now_ns() - begin};
}

/// The share of messages that never arrive. Those under way are no lost ones: they get their time.
double lost_percent(const Job& job, const Shared& shared) {
    std::uint64_t last = 0;
    for (int quiet = 0; quiet < 4; last == shared.arrived ? ++quiet : quiet = 0) {
        last = shared.arrived;
        usleep(25000);
    }
    const auto due = static_cast<double>(shared.sent * (job.fans_out() ? job.clients : 1));
    return due > 0 ? std::max(0.0, 100 * (1 - static_cast<double>(shared.arrived) / due)) : 0;
}

Figures measure(const Job& job, Shared& shared, const Processes& processes,
                const std::optional<Syscall_counter>& counter) {
    const bool has_messages = job.fans_out() || job.kind == "command";
    if (job.kind != "first" && job.kind != "idle") {
        shared.stage = Shared::warming;
        usleep(job.rate > 0 ? 200000 : 50000);
    }
    const Moment before(shared, processes, counter);
    shared.stage = Shared::measuring;
    const auto [sent_ns, arrived_ns] = wait_for_end(job, shared);
    const Moment after(shared, processes, counter);
    shared.stage = Shared::ended;

    const double cpu_us = static_cast<double>(after.all.cpu_ns - before.all.cpu_ns) / 1e3;
    Figures figures;
    if (job.kind == "idle") {
        const auto grown = static_cast<double>(memory_kib(processes.ids)) - static_cast<double>(shared.baseline_kib);
        figures["kib_per_connection"] = grown / (job.clients - 10.0);
        figures["cpu_us_per_connection_s"] = cpu_us * 1e9 / static_cast<double>(after.ns - before.ns) / job.clients;
        return figures;
    }
    const auto arrived = static_cast<double>(after.arrived - before.arrived);
    if (arrived > 0) {
        figures["rate"] = arrived * 1e9 / static_cast<double>(arrived_ns);
        figures["cpu_us"] = cpu_us / arrived;
        figures["switches"] = static_cast<double>(after.all.switches - before.all.switches) / arrived;
        if (counter) figures["syscalls"] = static_cast<double>(after.syscalls - before.syscalls) / arrived;
    }
    if (job.crowd != 0) figures["crowd_us"] = static_cast<double>(shared.crowd_ns) / 1e3 / job.crowd;
    const auto sent = static_cast<double>(after.sent - before.sent);
    if (job.fans_out() && sent > 0) {
        figures["publisher"] = sent * 1e9 / static_cast<double>(sent_ns);
        figures["post_us"] = static_cast<double>(after.service.cpu_ns - before.service.cpu_ns) / 1e3 / sent;
    }
    if (job.kind == "first") {
        // Of one call there is no more to say.
        return {{"p50_us", shared.samples[0] / 1e3}, {"cpu_us", cpu_us}};
    }
    if (has_messages) figures["lost_percent"] = lost_percent(job, shared);
    if (shared.mistakes != 0) {
        figures["failed_ppm"] = 1e6 * static_cast<double>(shared.mistakes) / static_cast<double>(shared.sent);
    }
    add_percentiles(shared, figures);
    return figures;
}

int run(const Job& job) {
    Shared& shared = make_shared();
    if (!takes_part(job)) return 3;
    std::optional<Syscall_counter> counter;  // before there are processes to count those of
    if (job.syscalls && !counter.emplace().works()) return 4;
    const auto await = [&](const std::atomic<std::uint32_t>& count, unsigned enough, const char* complaint) {
        wait_for(c_setup_limit * 2, [&] { return count >= enough || shared.failed > 0; });
        if (count >= enough) return true;
        std::fprintf(stderr, "%s\n", complaint);
        return false;
    };

    Processes processes;
    processes.ids.push_back(start(job, shared, [&] { run_service(job, shared); }));
    shared.service = processes.ids[0];
    if (!await(shared.port, 1, "the service did not open")) return 1;
    const unsigned clients = job.kind == "idle" ? 1 : job.clients;
    for (unsigned n = 0; n < clients; ++n) {
        processes.ids.push_back(start(job, shared, [&] { run_client(job, shared, n); }));
    }
    if (job.kind != "first" && !await(shared.ready, clients, "the clients did not connect")) return 1;

    const Figures figures = measure(job, shared, processes, counter);
    if (shared.failed > 0) return 1;
    if (job.kind != "idle" && shared.arrived == 0) {
        std::fprintf(stderr, "nothing arrived\n");
        return 1;
    }
    std::printf("%s\n", to_words(figures).c_str());
    return 0;
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    rlimit files{};
    const rlimit more{65536, 65536};  // if we may
    setrlimit(RLIMIT_NOFILE, &more);
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    try {
        return bench::run(bench::parse_job(argc, argv));
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "%s\n", fault.what());
        return 2;
    }
}
