#include "harness/usage.h"

#include <linux/perf_event.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

namespace bench {

namespace {

std::string proc(pid_t process, const std::string& file) {
    return "/proc/" + std::to_string(process) + "/" + file;
}

/// Sum of the numbers behind all lines that hold the word.
std::uint64_t sum_of(const std::string& file, const std::string& word) {
    std::ifstream text(file);
    std::uint64_t sum = 0;
    for (std::string line; std::getline(text, line);) {
        if (line.find(word) != std::string::npos) sum += std::stoul(line.substr(line.find(':') + 1));
    }
    return sum;
}

}  // namespace

Usage usage_of(const std::vector<pid_t>& processes) {
    Usage usage;
    for (const pid_t process : processes) {
        clockid_t clock{};
        timespec time{};
        if (clock_getcpuclockid(process, &clock) == 0 && clock_gettime(clock, &time) == 0) {
            usage.cpu_ns +=
                static_cast<std::uint64_t>(time.tv_sec) * 1000000000U + static_cast<std::uint64_t>(time.tv_nsec);
        }
        std::error_code gone;
        for (const auto& thread : std::filesystem::directory_iterator(proc(process, "task"), gone)) {
            usage.switches += sum_of(thread.path() / "status", "ctxt_switches");
        }
    }
    return usage;
}

Syscall_counter::Syscall_counter() : fd_(-1) {
    for (const char* folder : {"/sys/kernel/tracing", "/sys/kernel/debug/tracing"}) {
        perf_event_attr counter{};
        counter.type = PERF_TYPE_TRACEPOINT;
        counter.size = sizeof counter;
        counter.inherit = 1;
        if (!(std::ifstream(folder + std::string("/events/raw_syscalls/sys_enter/id")) >> counter.config)) continue;
        fd_ = static_cast<int>(syscall(SYS_perf_event_open, &counter, 0, -1, -1, 0));
        return;
    }
}

Syscall_counter::~Syscall_counter() {
    if (fd_ >= 0) close(fd_);
}

std::uint64_t Syscall_counter::count() const {
    std::uint64_t value = 0;
    return fd_ >= 0 && read(fd_, &value, sizeof value) == sizeof value ? value : 0;
}

std::uint64_t memory_kib(const std::vector<pid_t>& processes) {
    std::uint64_t sum = 0;
    for (const pid_t process : processes) sum += sum_of(proc(process, "smaps_rollup"), "Private_");
    return sum;
}

void pin() {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return;
    int last = 0;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &allowed)) last = cpu;
    }
    CPU_ZERO(&allowed);
    CPU_SET(last, &allowed);
    sched_setaffinity(0, sizeof allowed, &allowed);
}

}  // namespace bench
