// The process itself in trouble: no descriptors, no watches, no threads.

#include <dlfcn.h>
#include <sys/epoll.h>
#include <sys/resource.h>

#include <system_error>

#include "net/support/objects.h"

using namespace net;

namespace {

/// Threads that this program may still start. Only ever lowered by a test.
std::atomic<unsigned> g_threads_left{~0U};
/// The addition to an epoll instance that is refused, counted from the next one as 1; none if not positive.
std::atomic<int> g_refused_watch{0};

}  // namespace

// In front of the library's functions, for all of this program.

extern "C" int pthread_create(pthread_t* _thread_, const pthread_attr_t* _attributes, void* (*_entry)(void*),
                              void* _argument) {
    using create_t = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static create_t* const create = reinterpret_cast<create_t*>(::dlsym(RTLD_NEXT, "pthread_create"));
    if (g_threads_left == 0) return EAGAIN;
    --g_threads_left;
    return create(_thread_, _attributes, _entry, _argument);
}

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

class Shortage : public Pair {};

/// Each of the five that make a connection: in the end there is one, and nothing is left of those that failed.
TEST_F(Shortage, OneRefusedWatchInTheMakingOfAConnection) {
    address = service.open();
    for (int number = 1; number <= 5; ++number) {
        auto& one = make<Client>();
        g_refused_watch = number;
        ASSERT_EQ(one.start(address), 0);
        EXPECT_TRUE(eventually([&] {
            timer_reconnect_client();
            return !one.connected.empty();
        })) << number;
        EXPECT_LE(g_refused_watch, 0) << "it was asked for";
        EXPECT_EQ(one.delegate_and_take(text("x")).data, text("x"));
        EXPECT_EQ(one.stop(), 0);
        EXPECT_TRUE(eventually([] { return records() == 0; }));
    }
}

/// Before the first listener, among them, ahead of the timer, and among the relay's workers.
TEST_F(Shortage, NotEnoughThreadsForTheRuntimeItself) {
    ASSERT_EQ(finalize(), 0);
    for (const unsigned left : {0U, 3U, 8U, 9U, 11U}) {
        g_threads_left = left;
        EXPECT_THROW(initialize(), std::system_error) << left;
        g_threads_left = ~0U;
        EXPECT_TRUE(gp_processor == nullptr && gp_memory == nullptr);
    }
    ASSERT_EQ(initialize(), 0);
    connect();
}

class Descriptors : public Pair {
protected:
    void SetUp() override {
#ifdef __SANITIZE_ADDRESS__
        GTEST_SKIP() << "the sanitizer itself takes descriptors to look whether an address is valid";
#endif
        Pair::SetUp();
        ::getrlimit(RLIMIT_NOFILE, &all);
    }
    void TearDown() override {
        if (IsSkipped()) return;
        give_back();
        Pair::TearDown();
    }
    /// Only so many more may be opened. The beat borrows one for a moment.
    void leave(int _count) const {
        int next = 1000;
        for (int look = 0; look < 5; ++look, std::this_thread::sleep_for(std::chrono::milliseconds(1))) {
            const int free = ::dup(0);
            ::close(free);
            next = std::min(next, free);
        }
        const rlimit low{static_cast<rlim_t>(next + _count), all.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    }
    void give_back() const {
        ::setrlimit(RLIMIT_NOFILE, &all);
    }
    void restart() const {
        ASSERT_EQ(finalize(), 0);
        ASSERT_EQ(initialize(), 0);
    }
    rlimit all{};
};

TEST_F(Descriptors, NoneForANewConnection) {
    connect();
    auto& second = make<Client>();
    const std::size_t before = threads();
    const int fd = stream();
    leave(0);
    const Raw_client refused(address.port, 0, fd);
    refused.send(opening(refused.port(), address.port));
    EXPECT_EQ(client.delegate_and_take(text("x")).data, text("x")) << "a connection that is up goes on";
    EXPECT_EQ(second.start({c_here, 1}), EMFILE);
    give_back();
    EXPECT_TRUE(eventually([before] { return threads() == before - 1; })) << "the worker that accepts has ended";
    const Raw_client ignored(address.port);
    ignored.send(opening(ignored.port(), address.port));
    EXPECT_FALSE(ignored.readable(20));
    restart();
    service.open();
}

TEST_F(Descriptors, NotEnoughForTheRuntimeItself) {
    for (const int left : {0, 3, 6, 9}) {
        ASSERT_EQ(finalize(), 0);
        leave(left);
        ASSERT_EQ(initialize(), 0);
        Port port = 0;
        EXPECT_EQ(service.start(nullptr, &port), EMFILE);
        give_back();
        // Nothing is opened that no worker serves.
        EXPECT_EQ(service.start(nullptr, &port), -1) << left;
        EXPECT_EQ(client.start({c_here, 1}), -1) << left;
    }
    restart();
    connect();
}

}  // namespace
