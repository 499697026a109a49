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

void Peer::received(unsigned index, const void* data, std::size_t size) {
    std::uint64_t sent_ns = 0;
    if (size >= sizeof sent_ns) {
        std::memcpy(&sent_ns, data, sizeof sent_ns);
        shared.sample(now_ns() - sent_ns);
    }
    shared.receipt(index);
}

namespace {

constexpr double c_setup_limit = 20;  // seconds; a loaded machine needs some of them

/// Sends message after message, at the job's rate or as fast as the receipts allow, until the run is over.
template <class Send>
void send_all(const Job& job, Shared& shared, std::size_t track, unsigned receivers, Send send) {
    std::vector<char> message(job.size);
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
    wait_for(c_setup_limit, [&] { return shared.stage >= Shared::warming; });
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
        peer->subscribe(port, index);
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
    wait_for(c_setup_limit, [&] { return shared.stage >= Shared::warming; });
    if (job.kind == "command") {
        send_all(job, shared, index, 1, [&](const std::vector<char>& m) { peer->send(m.data(), m.size()); });
    } else if (job.kind == "async") {
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

int run(const Job& job) {
    Shared& shared = make_shared();
    if (!takes_part(job)) return 3;

    std::optional<Syscall_counter> syscalls;  // before there are processes to count those of
    if (job.syscalls && !syscalls.emplace().works()) return 4;
    Processes processes;
    processes.ids.push_back(start(job, shared, [&] { run_service(job, shared); }));
    shared.service = processes.ids[0];
    const auto give_up = [&](const char* what) {
        std::fprintf(stderr, "%s\n", what);
        return 1;
    };
    if (!wait_for(c_setup_limit, [&] { return shared.port != 0; })) return give_up("the service did not open");

    const unsigned clients = job.kind == "idle" ? 1 : job.clients;
    for (unsigned n = 0; n < clients; ++n) {
        processes.ids.push_back(start(job, shared, [&] { run_client(job, shared, n); }));
    }
    if (job.kind != "first" && !wait_for(c_setup_limit * 2, [&] { return shared.ready >= clients; })) {
        return give_up("the clients did not connect");
    }

    Figures figures;
    if (job.kind != "first" && job.kind != "idle") {
        shared.stage = Shared::warming;
        usleep(job.rate > 0 ? 200000 : 50000);
    }
    const std::uint64_t syscalls_before = syscalls ? syscalls->count() : 0;
    const Usage usage_before = usage_of(processes.ids);
    const Usage publisher_before = usage_of({shared.service});
    const std::uint64_t arrived_before = shared.arrived;
    const std::uint64_t sent_before = shared.sent;
    const std::uint64_t begin = now_ns();
    shared.stage = Shared::measuring;
    if (job.kind == "first") {
        wait_for(c_setup_limit, [&] { return shared.arrived > 0; });
    } else {
        usleep(static_cast<useconds_t>(job.seconds * 1e6));
    }
    const std::uint64_t syscalls_after = syscalls ? syscalls->count() : 0;
    const Usage usage = usage_of(processes.ids);
    const Usage publisher = usage_of({shared.service});
    const auto arrived = static_cast<double>(shared.arrived - arrived_before);
    const auto sent = static_cast<double>(shared.sent - sent_before);
    const double seconds = static_cast<double>(now_ns() - begin) / 1e9;
    shared.stage = Shared::ended;
    const double cpu_us = static_cast<double>(usage.cpu_ns - usage_before.cpu_ns) / 1e3;

    if (job.kind == "idle") {
        const auto grown = static_cast<double>(memory_kib(processes.ids)) - static_cast<double>(shared.baseline_kib);
        figures["kib_per_connection"] = grown / (job.clients - 10.0);
        figures["cpu_us_per_connection_s"] = cpu_us / seconds / job.clients;
    } else if (arrived == 0 && !job.fans_out() && job.kind != "command") {
        return give_up("nothing arrived");
    } else {
        figures["rate"] = arrived / seconds;
        if (arrived > 0) {
            figures["cpu_us"] = cpu_us / arrived;
            figures["switches"] = static_cast<double>(usage.switches - usage_before.switches) / arrived;
        }
        if (syscalls) figures["syscalls"] = static_cast<double>(syscalls_after - syscalls_before) / arrived;
        if (job.crowd != 0) figures["crowd_us"] = static_cast<double>(shared.crowd_ns) / 1e3 / job.crowd;
        add_percentiles(shared, figures);
        if (job.fans_out() && sent > 0) {
            figures["publisher"] = sent / seconds;
            figures["post_us"] = static_cast<double>(publisher.cpu_ns - publisher_before.cpu_ns) / 1e3 / sent;
        }
    }
    // Messages under way are no lost ones: let them arrive.
    if (job.fans_out() || job.kind == "command") {
        const double all = static_cast<double>(job.fans_out() ? job.clients : 1);
        std::uint64_t last = 0;
        for (int quiet = 0; quiet < 4; last == shared.arrived ? ++quiet : quiet = 0) {
            last = shared.arrived;
            usleep(25000);
        }
        figures["lost_percent"] =
            std::max(0.0, 100.0 * (1 - static_cast<double>(shared.arrived) / (static_cast<double>(shared.sent) * all)));
    }
    if (shared.mistakes != 0)
        figures["failed_ppm"] = 1e6 * static_cast<double>(shared.mistakes) / static_cast<double>(shared.sent);
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
