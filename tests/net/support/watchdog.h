/// @file
/// Ends a test that hangs, after it has shown where each thread stands.
#pragma once

#include <execinfo.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <semaphore>
#include <string>
#include <thread>

namespace net {

/// Fails the whole program when `beat` stays away for longer than a generous limit. One at a time.
class Watchdog {
public:
    explicit Watchdog(std::chrono::seconds _limit) : limit(_limit), thread([this] { run(); }) {
        void* frame = nullptr;
        ::backtrace(&frame, 1);  // loads what it needs: a handler must not
        std::signal(SIGUSR1, [](int) {
            void* frames[64];
            ::backtrace_symbols_fd(frames, ::backtrace(frames, 64), STDERR_FILENO);
            shown().release();
        });
    }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    ~Watchdog() {
        {
            const std::lock_guard lock(mutex);
            ending = true;
        }
        changed.notify_all();
        thread.join();
        std::signal(SIGUSR1, SIG_DFL);
    }
    void beat() {
        const std::lock_guard lock(mutex);
        ++beats;
        changed.notify_all();
    }

private:
    static std::binary_semaphore& shown() {
        static std::binary_semaphore one(0);
        return one;
    }
    void run() {
        std::unique_lock lock(mutex);
        while (!ending) {
            const unsigned seen = beats;
            if (changed.wait_for(lock, limit, [&] { return ending || beats != seen; })) continue;
            std::cerr << "no beat for " << limit.count() << " s; all threads:\n";
            for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
                show(task.path().filename());
            std::abort();
        }
    }
    /// One after the other, so that their lines do not mix. A thread that does not answer is passed over.
    static void show(const std::string& _tid) {
        std::cerr << "--- thread " << _tid << std::endl;
        ::syscall(SYS_tgkill, ::getpid(), std::stoi(_tid), SIGUSR1);
        if (!shown().try_acquire_for(std::chrono::seconds(2))) std::cerr << "does not answer\n";
    }

    const std::chrono::seconds limit;
    std::mutex mutex;
    std::condition_variable changed;
    unsigned beats = 0;
    bool ending = false;
    std::thread thread;
};

}  // namespace net
