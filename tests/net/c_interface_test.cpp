// The C interface: its face is fixed here word for word, and every function is called through it.

#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <type_traits>

#include "Vorn35/Vorn.h"
#include "net/support/kinds.h"

using namespace net;

namespace {

// --- the face --------------------------------------------------------------------------------------------

// Every function: result, name, parameters.
#define VORN_FUNCTIONS(F)                                                                                             \
    F(Vorn_inst*, vorn_stub_alloc, (on_vorn_stub_connect_ft*, on_vorn_stub_disconnect_ft*))                           \
    F(void, vorn_stub_free, (Vorn_inst*))                                                                             \
    F(Vorn_error, vorn_stub_start, (Vorn_inst*, const char*, Vorn_port*))                                             \
    F(Vorn_error, vorn_stub_stop, (Vorn_inst*))                                                                       \
    F(bool, vorn_stub_is_started, (Vorn_inst*))                                                                       \
    F(Vorn_inst*, vorn_stub_call_alloc,                                                                               \
      (Vorn_code, Vorn_pksize, Vorn_inst*, on_vorn_stub_call_ft*, on_vorn_stub_call_cancel_ft*))                      \
    F(void, vorn_stub_call_free, (Vorn_inst*))                                                                        \
    F(Vorn_inst*, vorn_stub_signal_alloc,                                                                             \
      (Vorn_code, Vorn_inst*, on_vorn_stub_signal_ft*, on_vorn_stub_signal_cancel_ft*))                               \
    F(void, vorn_stub_signal_free, (Vorn_inst*))                                                                      \
    F(Vorn_inst*, vorn_stub_event_alloc,                                                                              \
      (Vorn_code, Vorn_inst*, on_vorn_stub_event_link_ft*, on_vorn_stub_event_unlink_ft*))                            \
    F(void, vorn_stub_event_free, (Vorn_inst*))                                                                       \
    F(void, vorn_stub_event_unlink, (Vorn_inst*, Vorn_addr))                                                          \
    F(void, vorn_stub_event_unlink_all_proxy, (Vorn_inst*))                                                           \
    F(Vorn_error, vorn_stub_event_event, (Vorn_inst*, const void*, Vorn_pksize))                                      \
    F(Vorn_error, vorn_stub_event_event_nodata, (Vorn_inst*))                                                         \
    F(Vorn_inst*, vorn_stub_information_alloc,                                                                        \
      (Vorn_code, Vorn_inst*, on_vorn_stub_information_link_ft*, on_vorn_stub_information_unlink_ft*))                \
    F(void, vorn_stub_information_free, (Vorn_inst*))                                                                 \
    F(void, vorn_stub_information_unlink, (Vorn_inst*, Vorn_addr))                                                    \
    F(void, vorn_stub_information_unlink_all_proxy, (Vorn_inst*))                                                     \
    F(void*, vorn_stub_information_get, (Vorn_inst*, Vorn_pksize))                                                    \
    F(void, vorn_stub_information_cancel, (Vorn_inst*))                                                               \
    F(Vorn_error, vorn_stub_information_post, (Vorn_inst*, Vorn_pksize))                                              \
    F(Vorn_error, vorn_stub_information_write, (Vorn_inst*, const void*, Vorn_pksize))                                \
    F(Vorn_letter_case*, vorn_stub_information_see_history, (Vorn_inst*, size_t))                                     \
    F(void, vorn_stub_information_set_history_size, (Vorn_inst*, size_t))                                             \
    F(Vorn_error, vorn_stub_information_read, (Vorn_inst*, void*, Vorn_pksize*))                                      \
    F(Vorn_inst*, vorn_stub_command_alloc,                                                                            \
      (Vorn_code, Vorn_inst*, on_vorn_stub_command_sync_ft*, on_vorn_stub_command_link_ft*,                           \
       on_vorn_stub_command_unlink_ft*))                                                                              \
    F(void, vorn_stub_command_free, (Vorn_inst*))                                                                     \
    F(void, vorn_stub_command_unlink, (Vorn_inst*, Vorn_addr))                                                        \
    F(void, vorn_stub_command_unlink_all_proxy, (Vorn_inst*))                                                         \
    F(void, vorn_stub_command_set_sync, (Vorn_inst*, bool))                                                           \
    F(Vorn_letter_case*, vorn_stub_command_see_history, (Vorn_inst*, Vorn_addr, size_t))                              \
    F(void, vorn_stub_command_set_history_size, (Vorn_inst*, size_t))                                                 \
    F(Vorn_error, vorn_stub_command_read, (Vorn_inst*, Vorn_addr, void*, Vorn_pksize*))                               \
    F(Vorn_inst*, vorn_stub_datagram_alloc, (Vorn_code, Vorn_inst*))                                                  \
    F(void, vorn_stub_datagram_free, (Vorn_inst*))                                                                    \
    F(Vorn_error, vorn_stub_datagram_broadcast, (Vorn_inst*, const void*, Vorn_pksize))                               \
    F(Vorn_error, vorn_stub_datagram_cast, (Vorn_inst*, Vorn_ip, const void*, Vorn_pksize))                           \
    F(Vorn_inst*, vorn_proxy_alloc, (on_vorn_proxy_connect_ft*, on_vorn_proxy_disconnect_ft*))                        \
    F(void, vorn_proxy_free, (Vorn_inst*))                                                                            \
    F(Vorn_error, vorn_proxy_start, (Vorn_inst*, Vorn_addr))                                                          \
    F(Vorn_error, vorn_proxy_stop, (Vorn_inst*))                                                                      \
    F(bool, vorn_proxy_is_connected, (Vorn_inst*))                                                                    \
    F(bool, vorn_proxy_is_started, (Vorn_inst*))                                                                      \
    F(Vorn_error, vorn_proxy_get_address, (Vorn_inst*, Vorn_addr*, Vorn_addr*))                                       \
    F(Vorn_inst*, vorn_proxy_call_alloc, (Vorn_code, Vorn_inst*, on_vorn_proxy_call_return_ft*))                      \
    F(void, vorn_proxy_call_free, (Vorn_inst*))                                                                       \
    F(Vorn_error, vorn_proxy_call_delegate_call, (Vorn_inst*, Vorn_seq*, const void*, Vorn_pksize, double))           \
    F(Vorn_promise*, vorn_proxy_call_async_call, (Vorn_inst*, const void*, Vorn_pksize, double))                      \
    F(Vorn_error, vorn_proxy_call_await_return, (Vorn_inst*, Vorn_promise*, void*, Vorn_pksize*, double*))            \
    F(void, vorn_proxy_call_cancel, (Vorn_inst*, Vorn_error))                                                         \
    F(Vorn_inst*, vorn_proxy_signal_alloc, (Vorn_code, Vorn_inst*, on_vorn_proxy_signal_return_ft*))                  \
    F(void, vorn_proxy_signal_free, (Vorn_inst*))                                                                     \
    F(Vorn_error, vorn_proxy_signal_delegate_signal, (Vorn_inst*, Vorn_seq*, const void*, Vorn_pksize, double))       \
    F(Vorn_promise*, vorn_proxy_signal_async_signal, (Vorn_inst*, const void*, Vorn_pksize, double))                  \
    F(Vorn_error, vorn_proxy_signal_await_return, (Vorn_inst*, Vorn_promise*, double*))                               \
    F(Vorn_error, vorn_proxy_signal_signal, (Vorn_inst*, const void*, Vorn_pksize, double, double*))                  \
    F(void, vorn_proxy_signal_cancel, (Vorn_inst*, Vorn_error))                                                       \
    F(Vorn_inst*, vorn_proxy_event_alloc,                                                                             \
      (Vorn_code, Vorn_inst*, on_vorn_proxy_event_link_ft*, on_vorn_proxy_event_unlink_ft*, on_vorn_proxy_event_ft*)) \
    F(void, vorn_proxy_event_free, (Vorn_inst*))                                                                      \
    F(bool, vorn_proxy_event_is_linked, (Vorn_inst*))                                                                 \
    F(Vorn_error, vorn_proxy_event_delegate_link, (Vorn_inst*, Vorn_msg_num*, double))                                \
    F(Vorn_promise*, vorn_proxy_event_async_link, (Vorn_inst*, double))                                               \
    F(Vorn_error, vorn_proxy_event_await_link_return, (Vorn_inst*, Vorn_promise*, double*))                           \
    F(void, vorn_proxy_event_unlink, (Vorn_inst*))                                                                    \
    F(Vorn_inst*, vorn_proxy_information_alloc,                                                                       \
      (Vorn_code, Vorn_inst*, on_vorn_proxy_information_link_ft*, on_vorn_proxy_information_unlink_ft*,               \
       on_vorn_proxy_information_sync_ft*))                                                                           \
    F(void, vorn_proxy_information_free, (Vorn_inst*))                                                                \
    F(bool, vorn_proxy_information_is_linked, (Vorn_inst*))                                                           \
    F(Vorn_error, vorn_proxy_information_delegate_link, (Vorn_inst*, Vorn_msg_num*, double))                          \
    F(Vorn_promise*, vorn_proxy_information_async_link, (Vorn_inst*, bool, double))                                   \
    F(Vorn_error, vorn_proxy_information_await_link_return, (Vorn_inst*, Vorn_promise*, double*))                     \
    F(void, vorn_proxy_information_unlink, (Vorn_inst*))                                                              \
    F(void, vorn_proxy_information_set_sync, (Vorn_inst*, bool))                                                      \
    F(Vorn_letter_case*, vorn_proxy_information_see_history, (Vorn_inst*, size_t))                                    \
    F(void, vorn_proxy_information_set_history_size, (Vorn_inst*, size_t))                                            \
    F(Vorn_error, vorn_proxy_information_read, (Vorn_inst*, void*, Vorn_pksize*))                                     \
    F(Vorn_inst*, vorn_proxy_command_alloc,                                                                           \
      (Vorn_code, Vorn_inst*, on_vorn_proxy_command_link_ft*, on_vorn_proxy_command_unlink_ft*))                      \
    F(void, vorn_proxy_command_free, (Vorn_inst*))                                                                    \
    F(bool, vorn_proxy_command_is_linked, (Vorn_inst*))                                                               \
    F(Vorn_error, vorn_proxy_command_delegate_link, (Vorn_inst*, Vorn_msg_num*, double))                              \
    F(Vorn_promise*, vorn_proxy_command_async_link, (Vorn_inst*, double))                                             \
    F(Vorn_error, vorn_proxy_command_await_link_return, (Vorn_inst*, Vorn_promise*, double*))                         \
    F(void, vorn_proxy_command_unlink, (Vorn_inst*))                                                                  \
    F(void, vorn_proxy_command_set_sync_model, (Vorn_inst*, bool, Vorn_sync_model, double))                           \
    F(void*, vorn_proxy_command_get, (Vorn_inst*, Vorn_pksize))                                                       \
    F(void, vorn_proxy_command_cancel, (Vorn_inst*))                                                                  \
    F(Vorn_error, vorn_proxy_command_post, (Vorn_inst*, Vorn_pksize))                                                 \
    F(Vorn_error, vorn_proxy_command_write, (Vorn_inst*, const void*, Vorn_pksize))                                   \
    F(Vorn_letter_case*, vorn_proxy_command_see_history, (Vorn_inst*, size_t))                                        \
    F(void, vorn_proxy_command_set_history_size, (Vorn_inst*, size_t))                                                \
    F(Vorn_error, vorn_proxy_command_read, (Vorn_inst*, void*, Vorn_pksize*))                                         \
    F(Vorn_inst*, vorn_proxy_datagram_alloc, (Vorn_code, Vorn_inst*, on_vorn_proxy_datagram_cast_ft*))                \
    F(void, vorn_proxy_datagram_free, (Vorn_inst*))                                                                   \
    F(const char*, vorn_get_err_str, (Vorn_error))                                                                    \
    F(size_t, vorn_get_address, (const char*, Vorn_addr*))                                                            \
    F(Vorn_ip, vorn_inet_addr, (const char*))                                                                         \
    F(char*, vorn_inet_ntoa, (Vorn_ip))                                                                               \
    F(Vorn_error, vorn_initialize_default, ())                                                                        \
    F(Vorn_error, vorn_initialize, (size_t, size_t, size_t))                                                          \
    F(Vorn_error, vorn_finalize, ())                                                                                  \
    F(void, vorn_msg_processing_by_serial_group, (Vorn_msg_addr, Vorn_msg_addr))                                      \
    F(void, vorn_msg_processing_by_serial_alone, (Vorn_msg_addr))                                                     \
    F(void, vorn_msg_processing_by_parallel, (Vorn_msg_addr))

#define VORN_IS_AS_LISTED(result, name, parameters) static_assert(std::is_same_v<decltype(name), result parameters>);
VORN_FUNCTIONS(VORN_IS_AS_LISTED)

TEST(C_header, DeclaresTheListedFunctionsAndNoOther) {
    const std::set<std::string> listed{
#define VORN_NAME(result, name, parameters) #name,
        VORN_FUNCTIONS(VORN_NAME)
#undef VORN_NAME
    };
    std::stringstream header;
    header << std::ifstream(VORN35_C_HEADER).rdbuf();
    const std::string text = header.str();
    std::set<std::string> declared;
    const std::regex declaration("VORN_API [^;(]*\\b(vorn_\\w+)\\(");
    for (std::sregex_iterator found(text.begin(), text.end(), declaration), end; found != end; ++found)
        declared.insert((*found)[1]);
    EXPECT_EQ(declared, listed);
}

TEST(C_header, ResultsHaveTheNumbersOfTheClassInterface) {
#define VORN_SAME(small, capital)         \
    EXPECT_EQ(vorn_err_##small, capital); \
    EXPECT_STREQ(vorn_get_err_str(vorn_err_##small), #capital);
    VORN_SAME(none, VORN_ERR_NONE_)
    VORN_SAME(already_used_name, VORN_ERR_ALREADY_USED_NAME_)
    VORN_SAME(object_is_not_exist, VORN_ERR_OBJECT_IS_NOT_EXIST_)
    VORN_SAME(not_support_code, VORN_ERR_NOT_SUPPORT_CODE_)
    VORN_SAME(not_implement, VORN_ERR_NOT_IMPLEMENT_)
    VORN_SAME(remote_timeout, VORN_ERR_REMOTE_TIMEOUT_)
    VORN_SAME(busy, VORN_ERR_BUSY_)
    VORN_SAME(shutdown, VORN_ERR_SHUTDOWN_)
    VORN_SAME(local_timeout, VORN_ERR_LOCAL_TIMEOUT_)
    VORN_SAME(not_connected_tcp, VORN_ERR_NOT_CONNECTED_TCP_)
    VORN_SAME(boundout_buffer, VORN_ERR_BOUNDOUT_BUFFER_)
    VORN_SAME(busy_localhost, VORN_ERR_BUSY_LOCALHOST_)
    VORN_SAME(too_big_size, VORN_ERR_TOO_BIG_SIZE_)
    VORN_SAME(is_not_created, VORN_ERR_IS_NOT_CREATED_)
    VORN_SAME(null_return_object, VORN_ERR_NULL_RETURN_OBJECT_)
    VORN_SAME(already_connected, VORN_ERR_ALREADY_CONNECTED_)
    VORN_SAME(already_created, VORN_ERR_ALREADY_CREATED_)
    VORN_SAME(disconnected_tcp, VORN_ERR_DISCONNECTED_TCP_)
    VORN_SAME(durty_memory, VORN_ERR_DURTY_MEMORY_)
    VORN_SAME(overlaped_packet, VORN_ERR_OVERLAPED_PACKET_)
    VORN_SAME(dont_get, VORN_ERR_DONT_GET_)
    VORN_SAME(empty_vorn_memory, VORN_ERR_EMPTY_VORN_MEMORY_)
    VORN_SAME(empty_process_memory, VORN_ERR_EMPTY_PROCESS_MEMORY_)
    VORN_SAME(not_exist_sync_data, VORN_ERR_NOT_EXIST_SYNC_DATA_)
    VORN_SAME(empty_history, VORN_ERR_EMPTY_HISTORY_)
    VORN_SAME(already_used_addr, VORN_ERR_ALREADY_USED_ADDR_)
    VORN_SAME(not_initialize, VORN_ERR_NOT_INITIALIZE_)
    EXPECT_STREQ(vorn_get_err_str(-1), "VORN_ERR_UNKNOWN_");
    EXPECT_EQ(vorn_on_post, on_post);
    EXPECT_EQ(vorn_on_timer, on_timer);
    EXPECT_EQ(vorn_inet_addr("198.51.100.7"), 0x076433C6U);
    EXPECT_STREQ(vorn_inet_ntoa(0x076433C6U), "198.51.100.7");
}

// --- callbacks that leave lines --------------------------------------------------------------------------

struct Logs {
    std::mutex mutex;
    std::map<Vorn_inst*, Log> of;
};
Logs g_logs;

/// A line arrives here only if the callback was given the object that it belongs to.
Log& log_of(Vorn_inst* _inst_) {
    const std::lock_guard lock(g_logs.mutex);
    return g_logs.of[_inst_];
}

std::string text_of(Vorn_addr _addr) {
    return std::string(vorn_inet_ntoa(_addr.ip)) + ":" + std::to_string(_addr.port);
}
std::string model_of(Vorn_sync_model _model, double _limit) {
    if (_model == vorn_on_timer) return _limit > 0 && _limit < 0.126 ? "timer " : "unlikely limit ";
    return _limit == c_endless ? "post " : "unlikely limit ";
}

std::atomic<Error> g_decision{0};
Gate g_gate;

struct On {
    static void stub_connect(Vorn_inst* _i, Vorn_addr _a) { log_of(_i).put("connect " + text_of(_a)); }
    static void stub_disconnect(Vorn_inst* _i, Vorn_addr _a) { log_of(_i).put("disconnect " + text_of(_a)); }
    static void proxy_connect(Vorn_inst* _i) { log_of(_i).put("connect"); }
    static void proxy_disconnect(Vorn_inst* _i) { log_of(_i).put("disconnect"); }
    /// Answers the request with an 'X' behind it.
    static Vorn_error call(Vorn_inst* _i, Vorn_addr, const void* _in, Vorn_pksize _size, void* _out_,
                           Vorn_pksize* _out_size_, double _elapsed, double _limit) {
        EXPECT_GE(_elapsed, 0);
        EXPECT_GT(_limit, 0);
        const std::string answer = bytes_of(_in, _size) + "X";
        log_of(_i).put("call " + answer);
        g_gate.pass();
        EXPECT_GE(*_out_size_, answer.size());
        std::memcpy(_out_, answer.data(), answer.size());
        *_out_size_ = static_cast<Vorn_pksize>(answer.size());
        return g_decision;
    }
    static void cancel(Vorn_inst* _i, Vorn_addr _a, Vorn_error _err) {
        log_of(_i).put("cancel " + text_of(_a) + " " + name_of(_err));
    }
    static void signal(Vorn_inst* _i, Vorn_addr _a, const void* _data, Vorn_pksize _size, double) {
        log_of(_i).put("signal " + text_of(_a) + " " + bytes_of(_data, _size));
    }
    static Vorn_error ask(Vorn_inst* _i, Vorn_addr _a, double _elapsed, double _limit) {
        EXPECT_GE(_elapsed, 0);
        EXPECT_GT(_limit, 0);
        log_of(_i).put("link " + text_of(_a));
        return g_decision;
    }
    /// Of the limits that the test asks for, none lies in this range but those that the runtime is to see.
    static Vorn_error ask_information(Vorn_inst* _i, Vorn_addr, bool _reliability, double, double _limit) {
        const char* const limit = _limit <= 1.0 && _limit > 0.01 ? " in time" : " at an odd limit";
        log_of(_i).put((_reliability ? "link tcp" : "link udp") + std::string(limit));
        return g_decision;
    }
    static void client_unlink(Vorn_inst* _i, Vorn_addr _a, Vorn_error _err) {
        log_of(_i).put("unlink " + text_of(_a) + " " + name_of(_err));
    }
    static void command(Vorn_inst* _i, Vorn_addr _a, Vorn_sync_model _model, double, double _limit, const void* _data,
                        Vorn_pksize _size) {
        log_of(_i).put("sync " + text_of(_a) + " " + model_of(_model, _limit) + bytes_of(_data, _size));
    }
    static void call_return(Vorn_inst* _i, Vorn_seq _seq, Vorn_error _err, const void* _data, Vorn_pksize _size,
                            double) {
        log_of(_i).put("return " + std::to_string(_seq) + " " + name_of(_err) + " " + bytes_of(_data, _size));
    }
    static void answer(Vorn_inst* _i, Vorn_seq _seq, Vorn_error _err, double) {
        log_of(_i).put("answer " + std::to_string(_seq) + " " + name_of(_err));
    }
    static void unlink(Vorn_inst* _i, Vorn_error _err) { log_of(_i).put("unlink " + name_of(_err)); }
    static void event(Vorn_inst* _i, const void* _data, Vorn_pksize _size, double) {
        log_of(_i).put("event " + bytes_of(_data, _size));
    }
    static void information(Vorn_inst* _i, Vorn_sync_model _model, double, double _limit, const void* _data,
                            Vorn_pksize _size) {
        log_of(_i).put("sync " + model_of(_model, _limit) + bytes_of(_data, _size));
    }
    static void datagram(Vorn_inst* _i, Vorn_addr _a, const void* _data, Vorn_pksize _size, double) {
        log_of(_i).put("datagram " + text_of(_a) + " " + bytes_of(_data, _size));
    }
};

/// Frees in the order that is asked for: members before the object that they are attached to.
class Owner {
public:
    Owner() = default;
    Owner(const Owner&) = delete;
    ~Owner() {
        for (auto object = objects.rbegin(); object != objects.rend(); ++object) object->second(object->first);
    }
    Vorn_inst* own(Vorn_inst* _inst_, void (*_free)(Vorn_inst*)) {
        EXPECT_NE(_inst_, nullptr);
        objects.emplace_back(_inst_, _free);
        const std::lock_guard lock(g_logs.mutex);
        g_logs.of.erase(_inst_);
        return _inst_;
    }

private:
    std::vector<std::pair<Vorn_inst*, void (*)(Vorn_inst*)>> objects;
};

constexpr double c_long = 20;
/// Of a wait that is repeated when the answer was there before it had begun.
constexpr double c_short = 0.3;

class C_life : public Runtime {
protected:
    C_life() : Runtime(by_the_test) {}
    Vorn_inst* stub() { return owner.own(vorn_stub_alloc(On::stub_connect, On::stub_disconnect), vorn_stub_free); }
    Vorn_inst* proxy() { return owner.own(vorn_proxy_alloc(On::proxy_connect, On::proxy_disconnect), vorn_proxy_free); }

    Owner& owner = make<Owner>();
};

/// A service and a client in one process. A test adds its members, then connects.
class C_interface : public C_life {
protected:
    void SetUp() override {
        C_life::SetUp();
        g_decision = 0;
        ASSERT_EQ(vorn_initialize_default(), 0);
    }
    void connect() {
        Vorn_port port = 0;
        ASSERT_EQ(vorn_stub_start(service, nullptr, &port), 0);
        stub_addr = {c_here, port};
        ASSERT_EQ(vorn_proxy_start(client, stub_addr), 0);
        ASSERT_EQ(log_of(client).take(), "connect");
        Vorn_addr there{};
        ASSERT_EQ(vorn_proxy_get_address(client, &self, &there), 0);
        ASSERT_EQ(log_of(service).take(), "connect " + text_of(self));
    }
    /// Asks until the wait saw the answer.
    template <class Ask>
    Vorn_error ask(Ask _ask) {
        Vorn_error err = vorn_err_local_timeout;
        for (asked = 0; err == vorn_err_local_timeout && asked < 40; ++asked) err = _ask();
        return err;
    }
    /// One line of the service for each time that was asked.
    void took(Vorn_inst* _inst_, const std::string& _line) {
        for (int i = 0; i < asked; ++i) EXPECT_EQ(log_of(_inst_).take(), _line);
    }
    /// What a snapshot holds, newest first. Takes it over, which no function in C does.
    static std::string see(Vorn_letter_case* _snapshot_) {
        if (_snapshot_ == nullptr) return "null";
        const History history = static_cast<Letter_case_>(static_cast<void*>(_snapshot_));
        std::string all;
        for (unsigned int i = 0; i < history.size(); ++i) all += bytes_of(history[i].buffer_, history[i].size) + " ";
        return all;
    }
    /// What a read gives, for a buffer of 8 bytes.
    template <class Read, class... Which>
    static std::string read(Read _read, Vorn_inst* _inst_, Which... _which) {
        char buffer[8] = {};
        Vorn_pksize size = sizeof buffer;
        const Vorn_error err = _read(_inst_, _which..., buffer, &size);
        return err == 0 ? bytes_of(buffer, size) : name_of(err);
    }
    /// A writer's four functions and what they refuse. Publishes "one", "two" and "three", each when the one before
    /// has come: two that follow each other closely may overtake.
    template <class Get, class Cancel, class Post, class Write>
    static void fill(Vorn_inst* _inst_, Get _get, Cancel _cancel, Post _post, Write _write, Vorn_inst* _receiver_,
                     const std::string& _line) {
        EXPECT_EQ(_post(_inst_, 1), vorn_err_dont_get);
        EXPECT_NE(_get(_inst_, 3), nullptr);
        EXPECT_EQ(_post(_inst_, 4), vorn_err_too_big_size);
        _cancel(_inst_);
        EXPECT_EQ(_post(_inst_, 3), vorn_err_dont_get);
        EXPECT_EQ(_write(_inst_, "one", 3), 0);
        EXPECT_EQ(log_of(_receiver_).take(), _line + "one");
        std::memcpy(_get(_inst_, 8), "two", 3);
        EXPECT_EQ(_post(_inst_, 3), 0);
        EXPECT_EQ(log_of(_receiver_).take(), _line + "two");
        EXPECT_EQ(_write(_inst_, "three", 5), 0);
        EXPECT_EQ(log_of(_receiver_).take(), _line + "three");
    }

    Vorn_inst* const service = stub();
    Vorn_inst* const client = proxy();
    Vorn_addr stub_addr{};
    Vorn_addr self{};
    int asked = 0;
};

// --- life ------------------------------------------------------------------------------------------------

TEST_F(C_life, RuntimeAndConnection) {
    Vorn_inst* const service = stub();
    Vorn_inst* const client = proxy();
    Vorn_inst* const other = proxy();
    Vorn_port port = 0;
    EXPECT_EQ(vorn_stub_start(service, "c_life", &port), vorn_err_not_initialize);
    EXPECT_EQ(vorn_proxy_start(client, {c_here, 1}), vorn_err_not_initialize);

    EXPECT_EQ(vorn_initialize(3, 16, 0), 0);
    const std::size_t threads_of_three = threads();
    EXPECT_EQ(vorn_initialize_default(), vorn_err_already_created);
    EXPECT_EQ(vorn_finalize(), 0);
    EXPECT_FALSE(vorn_stub_is_started(service));
    EXPECT_EQ(vorn_initialize_default(), 0);
    EXPECT_TRUE(eventually([=] { return threads() == threads_of_three + 5; })) << "eight listeners";

    EXPECT_FALSE(vorn_stub_is_started(service));
    EXPECT_EQ(vorn_stub_start(service, "c_life", &port), 0);
    EXPECT_NE(port, 0);
    EXPECT_TRUE(vorn_stub_is_started(service));
    EXPECT_EQ(vorn_stub_start(service, "c_life", &port), vorn_err_already_created);

    const Vorn_addr address{c_here, port};
    EXPECT_FALSE(vorn_proxy_is_started(client));
    EXPECT_EQ(vorn_proxy_start(client, address), 0);
    EXPECT_EQ(log_of(client).take(), "connect");
    EXPECT_TRUE(vorn_proxy_is_started(client));
    EXPECT_TRUE(vorn_proxy_is_connected(client));
    EXPECT_EQ(vorn_proxy_start(other, address), vorn_err_already_used_addr);
    Vorn_addr self{1, 2};
    Vorn_addr there{3, 4};
    EXPECT_EQ(vorn_proxy_get_address(other, &self, &there), vorn_err_object_is_not_exist);
    EXPECT_EQ(text_of(self) + " " + text_of(there), "1.0.0.0:2 3.0.0.0:4");
    EXPECT_EQ(vorn_proxy_get_address(client, &self, &there), 0);
    EXPECT_EQ(text_of(there), text_of(address));
    EXPECT_EQ(log_of(service).take(), "connect " + text_of(self));

    with_server_record(self.port, [](auto* _record) { ::shutdown(_record->socket, SHUT_RDWR); });
    EXPECT_EQ(log_of(client).take(), "disconnect");
    EXPECT_EQ(log_of(service).take(), "disconnect " + text_of(self));
    EXPECT_EQ(log_of(client).take(), "connect");

    EXPECT_EQ(vorn_get_address("nobody", &there), 0U);
    EXPECT_EQ(text_of(there), text_of(address));
    EXPECT_TRUE(eventually([&] { return vorn_get_address("c_life", &there) == 1; }));
    EXPECT_EQ(there.port, port);

    EXPECT_EQ(vorn_proxy_get_address(client, &self, &there), 0);
    EXPECT_EQ(log_of(service).take(), "connect " + text_of(self));
    EXPECT_EQ(vorn_proxy_stop(client), 0);
    EXPECT_EQ(log_of(service).take(), "disconnect " + text_of(self));
    EXPECT_FALSE(vorn_proxy_is_started(client) || vorn_proxy_is_connected(client));
    EXPECT_EQ(vorn_proxy_stop(client), vorn_err_is_not_created);
    EXPECT_EQ(vorn_stub_stop(service), 0);
    EXPECT_FALSE(vorn_stub_is_started(service));
    EXPECT_EQ(vorn_stub_stop(service), vorn_err_is_not_created);
}

TEST_F(C_interface, AnyMemberThatIsFreedStopsItsObject) {
    const std::pair<Vorn_inst*, void (*)(Vorn_inst*)> of_stub[] = {
        {vorn_stub_call_alloc(1, 0, service, On::call, On::cancel), vorn_stub_call_free},
        {vorn_stub_signal_alloc(2, service, On::signal, On::cancel), vorn_stub_signal_free},
        {vorn_stub_event_alloc(3, service, On::ask, On::client_unlink), vorn_stub_event_free},
        {vorn_stub_information_alloc(4, service, On::ask_information, On::client_unlink), vorn_stub_information_free},
        {vorn_stub_command_alloc(5, service, On::command, On::ask, On::client_unlink), vorn_stub_command_free},
        {vorn_stub_datagram_alloc(6, service), vorn_stub_datagram_free}};
    const std::pair<Vorn_inst*, void (*)(Vorn_inst*)> of_proxy[] = {
        {vorn_proxy_call_alloc(1, client, On::call_return), vorn_proxy_call_free},
        {vorn_proxy_signal_alloc(2, client, On::answer), vorn_proxy_signal_free},
        {vorn_proxy_event_alloc(3, client, On::answer, On::unlink, On::event), vorn_proxy_event_free},
        {vorn_proxy_information_alloc(4, client, On::answer, On::unlink, On::information), vorn_proxy_information_free},
        {vorn_proxy_command_alloc(5, client, On::answer, On::unlink), vorn_proxy_command_free},
        {vorn_proxy_datagram_alloc(6, client, On::datagram), vorn_proxy_datagram_free}};
    for (const auto& [member, free] : of_stub) {
        Vorn_port port = 0;
        EXPECT_EQ(vorn_stub_start(service, nullptr, &port), 0);
        free(nullptr);
        EXPECT_TRUE(vorn_stub_is_started(service));
        free(member);
        EXPECT_FALSE(vorn_stub_is_started(service));
    }
    for (const auto& [member, free] : of_proxy) {
        EXPECT_EQ(vorn_proxy_start(client, {c_here, 1}), 0);
        free(nullptr);
        EXPECT_TRUE(vorn_proxy_is_started(client));
        free(member);
        EXPECT_FALSE(vorn_proxy_is_started(client));
    }
    vorn_stub_free(nullptr);
    vorn_proxy_free(nullptr);
    // An address whose owner was freed is free again.
    Vorn_inst* const gone = vorn_proxy_alloc(On::proxy_connect, On::proxy_disconnect);
    EXPECT_EQ(vorn_proxy_start(gone, {c_here, 1}), 0);
    EXPECT_EQ(vorn_proxy_start(client, {c_here, 1}), vorn_err_already_used_addr);
    vorn_proxy_free(gone);
    EXPECT_EQ(vorn_proxy_start(client, {c_here, 1}), 0);
    Vorn_inst* const closed = vorn_stub_alloc(On::stub_connect, On::stub_disconnect);
    Vorn_port port = 0;
    EXPECT_EQ(vorn_stub_start(closed, nullptr, &port), 0);
    vorn_stub_free(closed);
    EXPECT_EQ(vorn_stub_start(service, nullptr, &port), 0);
}

// --- the kinds -------------------------------------------------------------------------------------------

TEST_F(C_interface, Call) {
    Vorn_inst* const served =
        owner.own(vorn_stub_call_alloc(1, 16, service, On::call, On::cancel), vorn_stub_call_free);
    Vorn_inst* const call = owner.own(vorn_proxy_call_alloc(1, client, On::call_return), vorn_proxy_call_free);
    Vorn_seq seq = 0xFFFFFFFF;
    EXPECT_EQ(vorn_proxy_call_delegate_call(call, &seq, "a", 1, c_long), vorn_err_is_not_created);
    EXPECT_EQ(seq, 0U);
    EXPECT_EQ(
        vorn_proxy_call_await_return(call, vorn_proxy_call_async_call(call, "a", 1, c_long), nullptr, nullptr, nullptr),
        vorn_err_is_not_created);
    connect();

    seq = 0xFFFFFFFF;
    EXPECT_EQ(vorn_proxy_call_delegate_call(call, &seq, "a", 1, c_long), 0);
    EXPECT_LE(seq, 0xFFFFU);
    EXPECT_EQ(log_of(served).take(), "call aX");
    EXPECT_EQ(log_of(call).take(), "return " + std::to_string(seq) + " 0 aX");
    g_decision = c_refusal;
    EXPECT_EQ(vorn_proxy_call_delegate_call(call, &seq, "b", 1, c_long), 0);
    EXPECT_EQ(log_of(served).take(), "call bX");
    EXPECT_TRUE(log_of(call).take().starts_with("return " + std::to_string(seq) + " 77"));
    g_decision = 0;

    char answer[8] = {};
    Vorn_pksize size = sizeof answer;
    double seconds = -1;
    EXPECT_EQ(ask([&] {
                  return vorn_proxy_call_await_return(call, vorn_proxy_call_async_call(call, "c", 1, c_short), answer,
                                                      &size, &seconds);
              }),
              0);
    EXPECT_EQ(bytes_of(answer, size), "cX");
    EXPECT_GE(seconds, 0);
    took(served, "call cX");
    EXPECT_EQ(vorn_proxy_call_await_return(call, nullptr, nullptr, nullptr, nullptr), vorn_err_null_return_object);
    vorn_proxy_call_cancel(call, -5);
    EXPECT_EQ(log_of(served).take(), "cancel " + text_of(self) + " " + name_of(-5));
}

TEST_F(C_interface, Signal) {
    Vorn_inst* const served =
        owner.own(vorn_stub_signal_alloc(2, service, On::signal, On::cancel), vorn_stub_signal_free);
    Vorn_inst* const signal = owner.own(vorn_proxy_signal_alloc(2, client, On::answer), vorn_proxy_signal_free);
    connect();
    Vorn_seq seq = 0xFFFFFFFF;
    EXPECT_EQ(vorn_proxy_signal_delegate_signal(signal, &seq, "a", 1, c_long), 0);
    EXPECT_EQ(log_of(signal).take(), "answer " + std::to_string(seq) + " 0");
    EXPECT_EQ(log_of(served).take(), "signal " + text_of(self) + " a");
    double seconds = -1;
    EXPECT_EQ(ask([&] {
                  return vorn_proxy_signal_await_return(signal, vorn_proxy_signal_async_signal(signal, "b", 1, c_short),
                                                        &seconds);
              }),
              0);
    EXPECT_GE(seconds, 0);
    took(served, "signal " + text_of(self) + " b");
    EXPECT_EQ(ask([&] { return vorn_proxy_signal_signal(signal, "c", 1, c_short, &seconds); }), 0);
    took(served, "signal " + text_of(self) + " c");
    EXPECT_EQ(vorn_proxy_signal_await_return(signal, nullptr, nullptr), vorn_err_null_return_object);
    vorn_proxy_signal_cancel(signal, -5);
    EXPECT_EQ(log_of(served).take(), "cancel " + text_of(self) + " " + name_of(-5));
}

TEST_F(C_interface, Event) {
    Vorn_inst* const served =
        owner.own(vorn_stub_event_alloc(3, service, On::ask, On::client_unlink), vorn_stub_event_free);
    Vorn_inst* const event =
        owner.own(vorn_proxy_event_alloc(3, client, On::answer, On::unlink, On::event), vorn_proxy_event_free);
    EXPECT_EQ(vorn_stub_event_event(served, "a", 1), vorn_err_is_not_created);
    connect();
    Vorn_msg_num num = 0;
    const auto delegate = [&](Vorn_error _expected) {
        EXPECT_EQ(vorn_proxy_event_delegate_link(event, &num, c_long), 0);
        EXPECT_EQ(log_of(event).take(), "answer " + std::to_string(num) + " " + name_of(_expected));
        EXPECT_EQ(log_of(served).take(), "link " + text_of(self));
        EXPECT_EQ(vorn_proxy_event_is_linked(event), _expected == 0);
    };
    g_decision = c_refusal;
    delegate(c_refusal);
    g_decision = 0;
    delegate(0);
    EXPECT_EQ(vorn_stub_event_event(served, "a", 1), 0);
    EXPECT_EQ(log_of(event).take(), "event a");
    EXPECT_EQ(vorn_stub_event_event_nodata(served), 0);
    EXPECT_EQ(log_of(event).take(), "event ");
    EXPECT_EQ(vorn_stub_event_event(served, "a", 0), 0);
    EXPECT_EQ(log_of(event).take(), "event ");

    vorn_stub_event_unlink(served, {c_here, 1});
    vorn_stub_event_unlink(served, self);
    EXPECT_EQ(log_of(event).take(), "unlink 0");
    delegate(0);
    vorn_stub_event_unlink_all_proxy(served);
    EXPECT_EQ(log_of(event).take(), "unlink 0");

    EXPECT_EQ(ask([&] {
                  return vorn_proxy_event_await_link_return(event, vorn_proxy_event_async_link(event, c_short),
                                                            nullptr);
              }),
              0);
    took(served, "link " + text_of(self));
    EXPECT_TRUE(vorn_proxy_event_is_linked(event));
    EXPECT_EQ(vorn_proxy_event_await_link_return(event, vorn_proxy_event_async_link(event, c_short), nullptr),
              vorn_err_already_connected);
    vorn_proxy_event_unlink(event);
    EXPECT_EQ(log_of(served).take(), "unlink " + text_of(self) + " 0");
    EXPECT_FALSE(vorn_proxy_event_is_linked(event));
}

TEST_F(C_interface, Information) {
    Vorn_inst* const served = owner.own(vorn_stub_information_alloc(4, service, On::ask_information, On::client_unlink),
                                        vorn_stub_information_free);
    Vorn_inst* const information = owner.own(
        vorn_proxy_information_alloc(4, client, On::answer, On::unlink, On::information), vorn_proxy_information_free);
    EXPECT_EQ(vorn_stub_information_get(served, 1), nullptr);
    EXPECT_EQ(see(vorn_stub_information_see_history(served, 1)), "null");
    EXPECT_EQ(read(vorn_stub_information_read, served), "VORN_ERR_IS_NOT_CREATED_");
    connect();

    // The last argument chooses the transport and is no limit.
    Vorn_msg_num num = 0;
    for (const double choice : {0.0, 1e-9, 1000.0}) {
        EXPECT_EQ(vorn_proxy_information_delegate_link(information, &num, choice), 0);
        EXPECT_EQ(log_of(served).take(), choice == 0 ? "link udp in time" : "link tcp in time");
        EXPECT_EQ(log_of(information).take(), "answer " + std::to_string(num) + " 0");
        EXPECT_TRUE(vorn_proxy_information_is_linked(information));
        vorn_proxy_information_unlink(information);
        EXPECT_FALSE(vorn_proxy_information_is_linked(information));
        EXPECT_EQ(log_of(served).take(), "unlink " + text_of(self) + " 0");
    }
    EXPECT_EQ(see(vorn_proxy_information_see_history(information, 1)), "null");
    for (const bool reliability : {false, true}) {
        EXPECT_EQ(ask([&] {
                      return vorn_proxy_information_await_link_return(
                          information, vorn_proxy_information_async_link(information, reliability, c_short), nullptr);
                  }),
                  0);
        took(served, reliability ? "link tcp in time" : "link udp in time");
        if (reliability) break;
        vorn_stub_information_unlink(served, self);
        EXPECT_EQ(log_of(information).take(), "unlink 0");
    }

    vorn_stub_information_set_history_size(served, 2);
    vorn_proxy_information_set_history_size(information, 2);
    EXPECT_EQ(read(vorn_stub_information_read, served), "VORN_ERR_EMPTY_HISTORY_");
    EXPECT_EQ(read(vorn_proxy_information_read, information), "VORN_ERR_EMPTY_HISTORY_");
    fill(served, vorn_stub_information_get, vorn_stub_information_cancel, vorn_stub_information_post,
         vorn_stub_information_write, information, "sync post ");
    EXPECT_EQ(see(vorn_stub_information_see_history(served, 9)), "three two ");
    EXPECT_EQ(see(vorn_proxy_information_see_history(information, 9)), "three two ");
    EXPECT_EQ(see(vorn_proxy_information_see_history(information, 1)), "three ");
    EXPECT_EQ(read(vorn_stub_information_read, served), "three");
    EXPECT_EQ(read(vorn_proxy_information_read, information), "three");

    vorn_proxy_information_set_sync(information, false);
    EXPECT_EQ(vorn_stub_information_write(served, "silent", 6), 0);
    EXPECT_TRUE(eventually([&] { return read(vorn_proxy_information_read, information) == "silent"; }));
    EXPECT_TRUE(log_of(information).empty());
    vorn_stub_information_unlink_all_proxy(served);
    EXPECT_EQ(log_of(information).take(), "unlink 0");
}

TEST_F(C_interface, Command) {
    Vorn_inst* const served =
        owner.own(vorn_stub_command_alloc(5, service, On::command, On::ask, On::client_unlink), vorn_stub_command_free);
    Vorn_inst* const command =
        owner.own(vorn_proxy_command_alloc(5, client, On::answer, On::unlink), vorn_proxy_command_free);
    EXPECT_EQ(see(vorn_stub_command_see_history(served, self, 1)), "null");
    EXPECT_EQ(vorn_proxy_command_get(command, 1), nullptr);
    connect();
    EXPECT_EQ(see(vorn_proxy_command_see_history(command, 1)), "");
    EXPECT_EQ(read(vorn_proxy_command_read, command), "VORN_ERR_EMPTY_HISTORY_");

    Vorn_msg_num num = 0;
    EXPECT_EQ(vorn_proxy_command_delegate_link(command, &num, c_long), 0);
    EXPECT_EQ(log_of(command).take(), "answer " + std::to_string(num) + " 0");
    EXPECT_EQ(log_of(served).take(), "link " + text_of(self));
    EXPECT_TRUE(vorn_proxy_command_is_linked(command));
    vorn_proxy_command_unlink(command);
    EXPECT_FALSE(vorn_proxy_command_is_linked(command));
    EXPECT_EQ(log_of(served).take(), "unlink " + text_of(self) + " 0");
    const auto link = [&] {
        EXPECT_EQ(ask([&] {
                      return vorn_proxy_command_await_link_return(
                          command, vorn_proxy_command_async_link(command, c_short), nullptr);
                  }),
                  0);
        took(served, "link " + text_of(self));
    };
    link();
    vorn_stub_command_unlink(served, self);
    EXPECT_EQ(log_of(command).take(), "unlink 0");
    link();

    vorn_stub_command_set_history_size(served, 2);
    vorn_proxy_command_set_history_size(command, 2);
    EXPECT_EQ(read(vorn_stub_command_read, served, self), "VORN_ERR_EMPTY_HISTORY_");
    fill(command, vorn_proxy_command_get, vorn_proxy_command_cancel, vorn_proxy_command_post, vorn_proxy_command_write,
         served, "sync " + text_of(self) + " post ");
    EXPECT_EQ(see(vorn_stub_command_see_history(served, self, 9)), "three two ");
    EXPECT_EQ(see(vorn_stub_command_see_history(served, {c_here, 1}, 9)), "");
    EXPECT_EQ(see(vorn_proxy_command_see_history(command, 9)), "three two ");
    EXPECT_EQ(read(vorn_stub_command_read, served, self), "three");
    EXPECT_EQ(read(vorn_proxy_command_read, command), "three");

    vorn_proxy_command_set_sync_model(command, true, vorn_on_timer, 0.125);
    EXPECT_EQ(log_of(served).take(), "sync " + text_of(self) + " timer three");
    vorn_proxy_command_set_sync_model(command, true, vorn_on_post, 0);
    vorn_stub_command_set_sync(served, false);
    EXPECT_EQ(vorn_proxy_command_write(command, "silent", 6), 0);
    EXPECT_TRUE(eventually([&] { return read(vorn_stub_command_read, served, self) == "silent"; }));
    while (!log_of(served).empty()) EXPECT_EQ(log_of(served).take(), "sync " + text_of(self) + " timer three");
    vorn_stub_command_unlink_all_proxy(served);
    EXPECT_EQ(log_of(command).take(), "unlink 0");
}

TEST_F(C_interface, Datagram) {
    Vorn_inst* const served = owner.own(vorn_stub_datagram_alloc(6, service), vorn_stub_datagram_free);
    Vorn_inst* const datagram = owner.own(vorn_proxy_datagram_alloc(6, client, On::datagram), vorn_proxy_datagram_free);
    // A broadcast comes from the address of the host's network.
    Vorn_inst* const neighbour = proxy();
    Vorn_inst* const heard = owner.own(vorn_proxy_datagram_alloc(6, neighbour, On::datagram), vorn_proxy_datagram_free);
    EXPECT_EQ(vorn_stub_datagram_cast(served, c_here, "a", 1), vorn_err_is_not_created);
    connect();
    const Vorn_addr on_network{vorn_inet_addr("198.51.100.1"), stub_addr.port};
    EXPECT_EQ(vorn_proxy_start(neighbour, on_network), 0);
    EXPECT_EQ(log_of(neighbour).take(), "connect");
    EXPECT_TRUE(log_of(service).take().starts_with("connect 198.51.100.1:"));
    EXPECT_EQ(vorn_stub_datagram_cast(served, c_here, "a", 65001), vorn_err_too_big_size);
    EXPECT_EQ(vorn_stub_datagram_cast(served, c_here, "a", 1), 0);
    EXPECT_EQ(log_of(datagram).take(), "datagram " + text_of(stub_addr) + " a");
    EXPECT_EQ(vorn_stub_datagram_broadcast(served, "all", 3), 0);
    EXPECT_EQ(log_of(heard).take(), "datagram " + text_of(on_network) + " all");
}

// --- the order of messages -------------------------------------------------------------------------------

TEST_F(C_interface, Ordering) {
    Vorn_inst* served[4] = {};
    Vorn_inst* call[4] = {};
    for (Vorn_code code = 1; code < 4; ++code) {
        served[code] = owner.own(vorn_stub_call_alloc(code, 16, service, On::call, On::cancel), vorn_stub_call_free);
        call[code] = owner.own(vorn_proxy_call_alloc(code, client, On::call_return), vorn_proxy_call_free);
    }
    connect();
    const auto send = [&](Vorn_code _code, const char* _text) {
        Vorn_seq seq = 0;
        EXPECT_EQ(vorn_proxy_call_delegate_call(call[_code], &seq, _text, 1, c_long), 0);
    };
    const auto key = [&](Vorn_code _code) { return Vorn_msg_addr{stub_addr.port, _code, 1}; };
    /// Sends two, and one of another code behind them: once that one runs, both have been looked at.
    const auto second_waits_for_first = [&](Vorn_code _first, Vorn_code _second) {
        g_gate.close();
        send(_first, "a");
        EXPECT_EQ(log_of(served[_first]).take(), "call aX");
        send(_second, "b");
        send(3, "c");
        EXPECT_EQ(log_of(served[3]).take(), "call cX");
        const bool waits = log_of(served[_second]).empty();
        g_gate.open();
        EXPECT_EQ(log_of(served[_second]).take(), "call bX");
        for (const Vorn_code code : {_first, _second, Vorn_code{3}}) log_of(call[code]).take();
        return waits;
    };
    EXPECT_TRUE(second_waits_for_first(1, 1)) << "as a start declares it";
    const auto run_side_by_side = [&](Vorn_code _first, Vorn_code _second) {
        g_gate.close();
        send(_first, "a");
        send(_second, "b");
        for (const Vorn_code code : {_first, _second}) log_of(served[code]).take();
        g_gate.open();
        for (const Vorn_code code : {_first, _second}) log_of(call[code]).take();
    };
    run_side_by_side(1, 2);
    vorn_msg_processing_by_serial_group(key(1), key(2));
    EXPECT_TRUE(second_waits_for_first(1, 2));
    vorn_msg_processing_by_parallel(key(1));
    run_side_by_side(1, 2);
    run_side_by_side(1, 1);
    vorn_msg_processing_by_serial_alone(key(1));
    EXPECT_TRUE(second_waits_for_first(1, 1));
}

}  // namespace
