/// @file
/// What processes have used, as the kernel counts it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

namespace bench {

/// Sums over processes and their threads that live.
struct Usage {
    std::uint64_t cpu_ns = 0;
    std::uint64_t switches = 0;  ///< Voluntary and others.
};

Usage usage_of(const std::vector<pid_t>& processes);
/// Counts the system calls of this process and its later children, by the kernel's own tracepoint: at
/// full speed, though each call costs a little more. Needs a kernel that allows it.
class Syscall_counter {
public:
    /// Counts if it may.
    Syscall_counter();
    ~Syscall_counter();
    Syscall_counter(const Syscall_counter&) = delete;
    bool works() const { return fd_ >= 0; }
    std::uint64_t count() const;

private:
    int fd_;
};

/// Private memory of the processes, in KiB; what the kernel holds for their sockets is not in it.
std::uint64_t memory_kib(const std::vector<pid_t>& processes);
/// Keeps this process, and what it forks, on one processor.
void pin();

}  // namespace bench
