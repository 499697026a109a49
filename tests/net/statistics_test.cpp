// Each loss moves its own counter.

#include <fcntl.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "Vorn35/version.h"
#include "net/support/kinds.h"

using namespace net;

namespace {

class Counters : public Pair {
protected:
    /// Moves exactly so far while `_cause` runs, or soon after.
    template <class Cause>
    static void moves(const char* _name, double _by, Cause _cause) {
        const double before = sum_of(statistics(), _name);
        _cause();
        EXPECT_TRUE(eventually([&] { return sum_of(statistics(), _name) >= before + _by; })) << _name;
        EXPECT_EQ(sum_of(statistics(), _name) - before, _by) << _name;
    }
    static double value_of(std::string_view _name, std::string_view _labels) {
        for (const Statistic& one : statistics()) {
            if (one.name == _name && one.labels == _labels) return one.value;
        }
        ADD_FAILURE() << _name << _labels;
        return -1;
    }
};

TEST_F(Counters, EachLossHasItsOwn) {
    connect();
    const Other_client raw(address);
    EXPECT_EQ(value_of("vorn35_connections", "side=\"client\""), 1);
    EXPECT_TRUE(eventually([] { return value_of("vorn35_connections", "side=\"service\"") == 2; }));
    EXPECT_EQ(value_of("vorn35_listeners", ""), 8);
    EXPECT_EQ(value_of("vorn35_directory_port_bound", ""), 1);
    EXPECT_GT(value_of("vorn35_memory_bytes", ""), 0);
    const double bytes = value_of("vorn35_received_bytes_total", "kind=\"call\"");
    raw.send(raw.call(1, text("payload")));
    raw.next();
    EXPECT_EQ(value_of("vorn35_received_bytes_total", "kind=\"call\"") - bytes, 27);

    moves("vorn35_requests_repeated_total", 1, [&] {
        for (int i = 0; i < 2; ++i) raw.send(raw.call(2, {}));
        raw.next();
    });
    moves("vorn35_messages_expired_total", 1, [&] {
        Wire_message old = raw.call(3, {});
        old.limit = 0;
        raw.send(old);
    });
    moves("vorn35_answers_late_total", 1, [&] {
        moves("vorn35_waits_timed_out_total", 1, [&] {
            service.gate.close();
            EXPECT_EQ(client.wait(client.ask({}, 0.01)).err, VORN_ERR_LOCAL_TIMEOUT_);
        });
        service.gate.open();
    });
    moves("vorn35_messages_queue_dropped_total", 2, [&] {
        service.gate.close();
        for (const std::uint16_t num : {100, 101, 102}) raw.send(raw.call(num, {}));
        const Msg_addr key(address.port, c_code, 1);
        EXPECT_TRUE(eventually([&] {
            const Exclusive_hold hold;
            const std::lock_guard lock(gp_processor->qbuffer_map.at(key)->m_lock);
            return gp_processor->qbuffer_map.at(key)->size() == 2;
        }));
        msg_processing_by_parallel(key);
        service.gate.open();
        raw.next();
    });
    moves("vorn35_waits_disconnected_total", 1, [&] {
        service.gate.close();
        Waiter waiter(client, client.ask({}));
        service.gate.until_reached();
        with_server_record(client.self().port, [](auto* _record) { ::shutdown(_record->socket, SHUT_RDWR); });
        EXPECT_EQ(waiter.answer().err, VORN_ERR_DISCONNECTED_TCP_);
        service.gate.open();
    });
    service.stop();
    const double unaddressed = value_of("vorn35_messages_unaddressed_total", "kind=\"call\"");
    raw.send(raw.call(9, {}));
    raw.next();
    EXPECT_GT(value_of("vorn35_messages_unaddressed_total", "kind=\"call\""), unaddressed);
    moves("vorn35_datagrams_malformed_total", 1,
          [&] { Raw_socket(::socket(AF_INET, SOCK_DGRAM, 0)).send_to(c_directory_port, text("short")); });
}

/// Programs that share their counters, in a directory of the test.
class Shared_counters : public Pair {
protected:
    Shared_counters() : Pair(by_the_test) {
        ::setenv("XDG_RUNTIME_DIR", directory.c_str(), 1);
        ::setenv("VORN35_COUNTERS", "1", 1);
    }
    ~Shared_counters() override {
        ::unsetenv("VORN35_COUNTERS");
        ::unsetenv("XDG_RUNTIME_DIR");
        std::filesystem::remove_all(directory);
    }
    /// What is shared by a process: its own entry, or else the problem with its file.
    std::optional<Process_statistics> entry_of(pid_t _pid, std::string* _problem_ = nullptr) const {
        const Shared_statistics found = shared_statistics();
        for (const std::string& problem : found.problems) {
            if (_problem_ != nullptr && problem.find("vorn35-" + std::to_string(_pid)) != std::string::npos)
                *_problem_ = problem;
        }
        // A lab has process numbers of its own, and shares /dev/shm with other labs.
        const auto at = std::ranges::find_if(found.processes, [&](const Process_statistics& _one) {
            return _one.pid == _pid && _one.path.starts_with(directory);
        });
        return at == found.processes.end() ? std::nullopt : std::optional(*at);
    }
    const std::string directory = [] {
        std::string name = "/tmp/vorn35-test-XXXXXX";
        return std::string(::mkdtemp(name.data()));
    }();
};

TEST_F(Shared_counters, AreThoseOfTheProcessWhileItsRuntimeIsUp) {
    ::setenv("VORN35_COUNTERS", "yes", 1);
    EXPECT_THROW(initialize(), std::invalid_argument);
    ::setenv("VORN35_COUNTERS", "1", 1);
    ASSERT_EQ(initialize(), 0);
    connect();
    client.wait(client.ask(text("counted")));
    const auto own = entry_of(::getpid());
    ASSERT_TRUE(own);
    EXPECT_EQ(own->profile, "standard");
    EXPECT_EQ(own->version, VORN35_VERSION_STRING);
    const std::vector<Statistic> here = statistics();
    ASSERT_EQ(own->statistics.size(), here.size());
    for (std::size_t i = 0; i < here.size(); ++i) {
        EXPECT_EQ(own->statistics[i].name + own->statistics[i].labels, std::string(here[i].name) + here[i].labels);
        if (!here[i].is_gauge) {
            EXPECT_LE(own->statistics[i].value, here[i].value);
        }
    }
    EXPECT_GE(sum_of(*own, "vorn35_received_bytes_total"), 7);
    EXPECT_TRUE(eventually([this] { return entry_of(::getpid())->connections.size() == 2; })) << "by the next beat";
    const double sum = sum_of(statistics(), "vorn35_received_bytes_total");
    client.stop();
    service.stop();
    ASSERT_EQ(finalize(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(directory));
    EXPECT_GE(sum_of(statistics(), "vorn35_received_bytes_total"), sum) << "the counts survive their page";
}

TEST_F(Shared_counters, OfAProcessThatStandsStillIsDamagedAndDies) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "peer";
    int input[2];
    ASSERT_EQ(::pipe2(input, O_CLOEXEC), 0);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(input[0], STDIN_FILENO);
        ::execl(program.c_str(), "peer", "serve", "29000", "3", "0", "0", nullptr);
        ::_exit(1);
    }
    ::close(input[0]);
    EXPECT_TRUE(eventually([this, pid] { return entry_of(pid).has_value(); }));
    ::kill(pid, SIGSTOP);
    ::waitpid(pid, nullptr, WUNTRACED);
    auto stopped = entry_of(pid);
    ASSERT_TRUE(stopped);
    EXPECT_EQ(stopped->program, "peer");
    EXPECT_TRUE(eventually([&] { return entry_of(pid)->silence > stopped->silence + 0.01; }));

    std::string path;
    for (const auto& file : std::filesystem::directory_iterator(directory)) path = file.path();
    const auto size = std::filesystem::file_size(path);
    std::string image(size, 0), problem;
    const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::pread(fd, image.data(), size, 0), static_cast<ssize_t>(size));
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
    // Each word of the header and of the first entries, with values that point anywhere.
    for (off_t at = 0; at < 8192 + 64; at += at == 200 ? 8192 - 200 : 4) {
        for (const std::uint32_t word : {0U, 5000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
            ::pwrite(fd, &word, sizeof word, at);
            problem.clear();
            const auto found = entry_of(pid, &problem);
            if (at <= 8) {
                EXPECT_FALSE(found || problem.empty()) << at;
            }
            ::pwrite(fd, image.data(), size, 0);
        }
    }
    EXPECT_TRUE(entry_of(pid));
    std::ofstream(directory + "/vorn35-1-1.counters") << "something else";
    std::filesystem::create_directory(directory + "/vorn35-2-2.counters");
    std::filesystem::create_symlink(path, directory + "/vorn35-3-3.counters");
    EXPECT_EQ(std::ranges::count_if(shared_statistics().problems,
                                    [&](const std::string& _one) { return _one.starts_with(directory); }),
              3);

    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    ::close(fd);
    ::close(input[1]);
    EXPECT_FALSE(entry_of(pid));
    EXPECT_FALSE(std::filesystem::exists(path)) << "those of the dead are removed";
}

}  // namespace
