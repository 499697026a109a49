// The process itself in trouble: no descriptors and no watches.

#include <dlfcn.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <set>
#include <system_error>

#include "net/support/objects.h"

using namespace net;

namespace {

/// The addition to an epoll instance that is refused, counted from the next one as 1; none if not positive.
std::atomic<int> g_refused_watch{0};

}  // namespace

// In front of the library's function, for all of this program.

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

TEST_F(Shortage, NoDescriptorForAReconnect) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer itself takes descriptors to look whether an address is valid";
#endif
    Far_service far(client);
    rlimit all{};
    ::getrlimit(RLIMIT_NOFILE, &all);
    const rlimit none{0, all.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    far.connection.reset();
    client.disconnected.take();
    EXPECT_TRUE(eventually([] { return records() == 1; }));  // of the next attempt
    timer_reconnect_client();
    Port port = 0;
    EXPECT_EQ(service.start(nullptr, &port), EMFILE);
    ::setrlimit(RLIMIT_NOFILE, &all);
    const Raw_connection again = far.server.accept_open();
    client.connected.take();
    service.open();
}

}  // namespace
