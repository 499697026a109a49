// The process itself in trouble: no descriptors, no watches, no threads, and a system clock that jumps.

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <new>
#include <set>
#include <system_error>
#include <thread>

#include "net/support/objects.h"

using namespace net;

namespace {

/// What the system clock of this program is ahead of the machine's. Only ever moved by a test.
std::atomic<std::int64_t> g_ahead{0};
/// Threads that this program may still start. Only ever lowered by a test.
std::atomic<unsigned> g_threads_left{~0U};
/// The addition to an epoll instance that is refused, counted from the next one as 1; none if not positive.
std::atomic<int> g_refused_watch{0};
constexpr std::int64_t c_second = 1000000000;

std::int64_t nanoseconds(const timespec& _time) {
    return _time.tv_sec * c_second + _time.tv_nsec;
}
timespec time_of(std::int64_t _nanoseconds) {
    return {_nanoseconds / c_second, _nanoseconds % c_second};
}

}  // namespace

/// In front of the library's: the system clock, as all of this program reads it.
extern "C" int clock_gettime(clockid_t _clock, timespec* _time_) {
    const int result = static_cast<int>(::syscall(SYS_clock_gettime, _clock, _time_));
    if (result == 0 && _clock == CLOCK_REALTIME) *_time_ = time_of(nanoseconds(*_time_) + g_ahead);
    return result;
}

/// In front of the library's: the runtime's wait against the system clock goes to the kernel in pieces so short that a
/// jump is seen.
extern "C" long syscall(long _number, ...) noexcept {
    va_list list;
    va_start(list, _number);
    std::array<long, 6> word{};
    for (long& one : word) one = va_arg(list, long);
    va_end(list);
    using call_t = long(long, ...);
    static call_t* const call = reinterpret_cast<call_t*>(::dlsym(RTLD_NEXT, "syscall"));
    const auto pass_on = [&] { return call(_number, word[0], word[1], word[2], word[3], word[4], word[5]); };
    if (_number != SYS_futex || (word[1] & FUTEX_CLOCK_REALTIME) == 0) return pass_on();

    const std::int64_t end = nanoseconds(*reinterpret_cast<const timespec*>(word[3]));
    for (;;) {
        timespec now{};
        ::clock_gettime(CLOCK_REALTIME, &now);
        const std::int64_t left = end - nanoseconds(now);
        const timespec piece = time_of(nanoseconds(now) - g_ahead + std::min<std::int64_t>(left, c_second / 50));
        word[3] = reinterpret_cast<long>(&piece);
        if (const long result = pass_on(); left <= 0 || result != -1 || errno != ETIMEDOUT) return result;
    }
}

/// In front of the library's: refuses when they are used up.
extern "C" int pthread_create(pthread_t* _thread_, const pthread_attr_t* _attributes, void* (*_entry)(void*),
                              void* _argument) {
    using create_t = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static create_t* const create = reinterpret_cast<create_t*>(::dlsym(RTLD_NEXT, "pthread_create"));
    if (g_threads_left == 0) return EAGAIN;
    --g_threads_left;
    return create(_thread_, _attributes, _entry, _argument);
}

/// In front of the library's: refuses the one that is asked for.
extern "C" int epoll_ctl(int _epoll, int _operation, int _fd, epoll_event* _event) noexcept {
    using control_t = int(int, int, int, epoll_event*);
    static control_t* const control = reinterpret_cast<control_t*>(::dlsym(RTLD_NEXT, "epoll_ctl"));
    if (_operation == EPOLL_CTL_ADD && g_refused_watch > 0 && --g_refused_watch == 0) {
        errno = ENOSPC;
        return -1;
    }
    return control(_epoll, _operation, _fd, _event);
}

namespace {

class Watches : public Runtime {};

/// Each of the five that make a connection: in the end there is one, and nothing is left of those that failed.
TEST_F(Watches, OneRefusedInTheMakingOfAConnection) {
    const Addr address = make<Service>().open();
    for (int number = 1; number <= 5; ++number) {
        auto& client = make<Client>();
        g_refused_watch = number;
        ASSERT_EQ(client.start(address), 0);
        EXPECT_TRUE(eventually([&] {
            timer_reconnect_client();
            return !client.connected.empty();
        })) << number;
        EXPECT_LE(g_refused_watch, 0) << "it was asked for";
        EXPECT_EQ(client.delegate_and_take(text("x")).data, text("x"));
        EXPECT_EQ(client.stop(), 0);
        EXPECT_TRUE(eventually([] { return records() == 0; }));
    }
}

class Threads : public Runtime {};

/// Before the first listener, among them, ahead of the timer, and among the relay's workers.
TEST_F(Threads, NotEnoughForTheRuntimeItself) {
    ASSERT_EQ(finalize(), 0);
    for (const unsigned left : {0U, 3U, 8U, 9U, 11U}) {
        g_threads_left = left;
        EXPECT_THROW(initialize(), std::system_error) << left;
        g_threads_left = ~0U;
        EXPECT_EQ(gp_processor, nullptr);
        EXPECT_EQ(gp_memory, nullptr);
    }
    ASSERT_EQ(initialize(), 0);
    auto& client = make<Client>();
    client.connect(make<Service>().open());
}

class Clock_jump : public Runtime {
protected:
    void TearDown() override {
        g_ahead = 0;
        Runtime::TearDown();
    }
};

/// The wait for an answer alone goes by the system clock.
TEST_F(Clock_jump, MovesTheEndOfAWaitAndNothingElse) {
    auto& service = make<Service>();
    const Addr address = service.open("clock");
    auto& client = make<Client>();
    client.connect(address);
    const Raw_client raw(address.port);
    raw.open();
    Addr found;
    ASSERT_TRUE(eventually([&found] { return get_address("clock", &found) == 1; }));
    service.gate.close();

    // Forward: the end of the wait is here.
    Waiter early(client, client.ask(text("early"), 3600));
    g_ahead += 7200 * c_second;
    EXPECT_EQ(early.answer().err, VORN_ERR_LOCAL_TIMEOUT_);
    service.gate.open();
    EXPECT_EQ(client.delegate_and_take(text("behind it")).data, text("behind it"));
    service.called.take(2);

    // Back: it is far away, and an answer still ends the wait.
    const auto begin = std::chrono::steady_clock::now();
    service.gate.close();
    Waiter late(client, client.ask(text("late"), 0.3));
    g_ahead -= 36000 * c_second;
    service.called.take();
    while (std::chrono::steady_clock::now() < begin + std::chrono::milliseconds(500)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    service.gate.open();
    EXPECT_EQ(late.answer().data, text("late"));

    for (const std::int64_t hours : {-10, 20}) {
        // A message that waits for its handler is not older for it; silence is not longer, the beat goes on as before, and
        // names live as many beats as ever.
        service.gate.close();
        client.delegate(text("first"), 20);
        service.called.take();
        client.delegate(text("second"), 20);
        g_ahead += hours * 3600 * c_second;
        service.gate.open();
        const std::set<Bytes> both{client.returned.take().data, client.returned.take().data};
        EXPECT_EQ(both, (std::set<Bytes>{text("first"), text("second")}));
        raw.send(raw.call(static_cast<std::uint16_t>(100 + hours), text("x")));
        EXPECT_EQ(raw.next().payload, text("x"));
        EXPECT_TRUE(raw.any().is_heartbeat());
        EXPECT_EQ(get_address("clock", &found), 1U);
    }
    EXPECT_TRUE(client.disconnected.empty() && service.disconnected.empty());
}

class Memory : public Runtime {};

TEST_F(Memory, ARequestThatThereIsNoneForHoldsNone) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer itself takes more address space than that";
#endif
    auto& client = make<Client>();
    client.connect(make<Service>().open());
    rlimit limit{};
    ::getrlimit(RLIMIT_AS, &limit);
    const rlimit low{std::size_t{4} << 30, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &low), 0);
    constexpr Pksize too_much = 0xFFFFFFFF;
    Msg_num num = 0;
    EXPECT_THROW(client.delegate_call(&num, "", too_much, 20), std::bad_alloc);
    EXPECT_THROW(client.async_call("", too_much, 20), std::bad_alloc);
    ::setrlimit(RLIMIT_AS, &limit);
    EXPECT_EQ(client.delegate_and_take(text("x")).data, text("x"));
}

/// Takes all descriptors but some.
class Descriptors : public Runtime {
protected:
    void SetUp() override {
#ifdef __SANITIZE_ADDRESS__
        GTEST_SKIP() << "the sanitizer itself takes descriptors to look whether an address is valid";
#endif
        Runtime::SetUp();
    }
    void TearDown() override {
        if (!IsSkipped()) Runtime::TearDown();
    }
    void take_all_but(std::size_t _left) {
        if (taken.empty()) ::getrlimit(RLIMIT_NOFILE, &limit);
        const rlimit low{256, limit.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
        // The beat borrows one for a moment, and a connection that has ended gives its own back a moment later: until none
        // has come back for a while.
        for (int quiet = 0; quiet < 5; ++quiet) {
            for (int fd = 0; (fd = ::fcntl(0, F_DUPFD_CLOEXEC, 0)) != -1; quiet = 0) taken.push_back(fd);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        for (; _left != 0; --_left) {
            ::close(taken.back());
            taken.pop_back();
        }
    }
    void give_back() {
        for (const int fd : taken) ::close(fd);
        taken.clear();
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
    static bool is_served_anew(Addr _service) {
        return Raw_client(_service.port).open().size() == 1024;
    }

private:
    rlimit limit{};
    std::vector<int> taken;
};

TEST_F(Descriptors, TheLastOneIsAsGoodAsAny) {
    const Addr address = make<Service>().open();
    const int fd = stream();
    take_all_but(1);
    const Raw_client last(address.port, 0, fd);
    EXPECT_EQ(last.open().size(), 1024U);
    give_back();
    EXPECT_TRUE(is_served_anew(address)) << "the worker took the end of the queue for a failure";
}

TEST_F(Descriptors, NoneForAConnectionThatArrives) {
    auto& service = make<Service>();
    const Addr address = service.open();
    auto& client = make<Client>();
    client.connect(address);
    const std::size_t before = threads();
    const int fd = stream();
    take_all_but(0);
    Raw_client refused(address.port, 0, fd);
    refused.send(opening(refused.port(), address.port));
    // Who is connected goes on.
    for (int i = 0; i < 20; ++i) EXPECT_EQ(client.delegate_and_take(text("x")).data, text("x"));
    EXPECT_FALSE(refused.readable(50));
    give_back();
    EXPECT_TRUE(eventually([before] { return threads() == before - 1; })) << "nobody accepts from here on";
    const Raw_client ignored(address.port);
    ignored.send(opening(ignored.port(), address.port));
    EXPECT_FALSE(ignored.readable(50));
    EXPECT_EQ(client.call(text("y")).data, text("y"));
    // The next life of the runtime begins anew.
    ASSERT_EQ(finalize(), 0);
    ASSERT_EQ(initialize(), 0);
    EXPECT_TRUE(is_served_anew(service.open()));
}

TEST_F(Descriptors, NotEnoughForTheRuntimeItself) {
    auto& service = make<Service>();
    auto& client = make<Client>();
    for (const std::size_t left : {0, 3, 6, 9}) {
        ASSERT_EQ(finalize(), 0);
        take_all_but(left);
        ASSERT_EQ(initialize(), 0);
        Port port = 0;
        EXPECT_EQ(service.start(nullptr, &port), EMFILE);
        give_back();
        // Nothing is opened that no worker serves.
        EXPECT_EQ(service.start(nullptr, &port), -1) << left;
        EXPECT_EQ(client.start({c_here, 1}), -1) << left;
        ASSERT_EQ(finalize(), 0);
        ASSERT_EQ(initialize(), 0);
        EXPECT_TRUE(is_served_anew(service.open()));
    }
}

TEST_F(Descriptors, NoneForAReconnect) {
    const Raw_server server;
    auto& client = make<Client>();
    ASSERT_EQ(client.start({c_here, server.port()}), 0);
    Raw_connection connection = server.accept_open();
    client.connected.take();
    auto& second = make<Client>();
    auto& service = make<Service>();
    Port port = 0;
    take_all_but(0);
    connection.reset();
    client.disconnected.take();
    EXPECT_TRUE(eventually([] { return records() == 1; }));
    take_all_but(0);  // what the connection had
    timer_reconnect_client();
    {
        const std::lock_guard lock(g_client_lock);
        EXPECT_EQ(g_connect_fail_map.size(), 1U);
    }
    EXPECT_EQ(second.start({c_here, 1}), EMFILE);
    EXPECT_EQ(service.start(nullptr, &port), EMFILE);
    give_back();
    connection = server.accept_open();
    client.connected.take();
    EXPECT_EQ(second.start({c_here, 1}), 0);
    EXPECT_TRUE(is_served_anew(service.open()));
}

}  // namespace
