/// @file
/// A service and a client with a member of every kind, all by one code, whose callbacks look at all they are given.
#pragma once

#include "fuzz/support/runtime.h"

namespace fuzz {

inline constexpr Msg_code c_member = 1;
/// A second signal, whose answer a function decides.
inline constexpr Msg_code c_decided = 2;
/// What the objects themselves say is larger than any input.
inline constexpr std::size_t c_own_size = 8 * 1024;
/// Size of a datagram that counts the inputs.
inline constexpr Pksize c_fence_size = 8;

/// Some requests are refused: by their payload or, where there is none, by their limit.
inline Error decision(const void* _data, Pksize _size) {
    look_at(_data, _size);
    return _size != 0 && *static_cast<const std::uint8_t*>(_data) == 0xEE ? 77 : 0;
}
inline Error decision(double _limit) {
    return _limit < 1000 ? 77 : 0;
}

/// Of many kinds, all by one code.
template <class... Kinds>
struct Members : Kinds... {
    Members() : Kinds(c_member)... {}
};

class Service : public Stub_call,
                public Members<Stub_signal, Stub_event, Stub_information, Stub_command, Stub_datagram> {
public:
    Service() : Stub_call(c_member, 512), decided(c_decided, *this, &Service::decide) {
        Stub_information::set_history_size(2);
        // What it held at the loss of its client would be lost with it.
        Stub_command::set_history_size(0);
        Stub_command::set_sync(true);
        require(start("fuzzed", &port) == 0, "a service starts");
    }

    /// To whoever is linked.
    void tell() {
        static const Bytes value(c_own_size, 0x55);
        require(event(value.data(), 300) == 0 && Stub_event::event() == 0, "an event is sent");
        require(Stub_information::write(value.data(), c_own_size) == 0, "a value is sent");
    }
    void unlink_all() {
        Stub_event::unlink_all_proxy();
        Stub_information::unlink_all_proxy();
        Stub_command::unlink_all_proxy();
    }

    Port port = 0;

private:
    static int decide(Stub_signal*, Addr, void* _data, Pksize _size, double, double) { return decision(_data, _size); }

    Error on_call(Addr, const void* _in, Pksize _in_size, void* _out_, Pksize* _out_size_, double, double) override {
        *_out_size_ = std::min(*_out_size_, _in_size);
        if (*_out_size_ != 0) std::memcpy(_out_, _in, *_out_size_);
        return decision(_in, _in_size);
    }
    void on_signal(Addr, const void* _data, Pksize _size, double) override { look_at(_data, _size); }
    Error on_link(Addr, double, double _limit) override { return decision(_limit); }
    Error on_link(Addr, bool, double, double _limit) override { return decision(_limit); }
    void on_unlink(Addr, Error) override {}
    void on_sync(Addr, Sync_model, double, double, const void* _data, const Pksize _size) override {
        look_at(_data, _size);
    }

    Stub_signal decided;
};

class Client : public Members<Proxy_call, Proxy_signal, Proxy_event, Proxy_information, Proxy_command, Proxy_datagram> {
public:
    Client() {
        Proxy_information::set_history_size(2);
        Proxy_information::set_sync(true);
    }

    void connect(Addr _service) { require(start(_service) == 0, "a client starts"); }
    /// Connected, and told so.
    void until_connected() {
        until([this] { return is_connected(); }, "a client connects");
    }
    /// Asks for every link that it has not.
    /// @param _reliability the form of the information's.
    void link(bool _reliability) {
        Msg_num num = 0;
        // Refused where the link is there already, or by a connection that is gone.
        static_cast<void>(Proxy_event::delegate_link(&num, 2000));
        static_cast<void>(Proxy_information::delegate_link(&num, _reliability, 2000));
        static_cast<void>(Proxy_command::delegate_link(&num, 2000));
    }
    void unlink_all() {
        Proxy_event::unlink();
        Proxy_information::unlink();
        Proxy_command::unlink();
    }
    bool is_linked() {
        return Proxy_event::is_linked() && Proxy_information::is_linked() && Proxy_command::is_linked();
    }
    /// A number that no request before had.
    Msg_num ask() {
        Msg_num num = 0;
        static_cast<void>(Proxy_call::delegate_call(&num, "ask", 3, 2000));
        return num;
    }

    /// The last count of inputs that came as a datagram.
    std::atomic<std::uint64_t> fence{0};

private:
    void on_return(Msg_num, Error, const void* _data, Pksize _size, double) override { look_at(_data, _size); }
    void on_return(Msg_num, Error, double) override {}
    void on_link(Msg_num, Error, double) override {}
    void on_unlink(Error) override {}
    void on_event(const void* _data, Pksize _size, double) override { look_at(_data, _size); }
    void on_sync(Sync_model, double, double, const void* _data, Pksize _size) override {
        look_at(_data, _size);
        Bytes value(256);
        auto size = static_cast<Pksize>(value.size());
        if (Proxy_information::read(value.data(), &size) == 0) look_at(value.data(), size);
    }
    void on_datagram(Addr, const void* _data, Pksize _size, double) override {
        look_at(_data, _size);
        if (_size != c_fence_size) return;
        std::uint64_t count = 0;
        std::memcpy(&count, _data, sizeof count);
        fence = count;
    }
};

}  // namespace fuzz
