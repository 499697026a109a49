/// @file
/// A peer that speaks the wire by itself: plain sockets and literal bytes, nothing of the runtime.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace net {

using Bytes = std::vector<std::uint8_t>;

/// "02 30 ff" as bytes.
inline Bytes hex(const std::string& _text) {
    Bytes bytes;
    for (std::size_t i = 0; i < _text.size(); i += 3) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(_text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}
inline Bytes text(const std::string& _text) {
    return {_text.begin(), _text.end()};
}
inline Bytes operator+(Bytes _a, const Bytes& _b) {
    _a.insert(_a.end(), _b.begin(), _b.end());
    return _a;
}
/// Little-endian.
inline Bytes number(std::uint32_t _value, std::size_t _size) {
    Bytes bytes;
    for (; _size != 0; --_size, _value >>= 8) bytes.push_back(static_cast<std::uint8_t>(_value));
    return bytes;
}

/// One message as it stands on the wire; times are the 16-bit words.
struct Wire_message {
    std::uint8_t type = 0;
    std::uint16_t code = 0;
    std::uint16_t num = 0;
    Bytes payload{};
    std::uint16_t gport = 0;
    std::uint16_t limit = 0xFFFF;
    std::uint16_t time = 0;
    std::uint32_t error = 0;
    std::uint8_t first = 2;

    Bytes bytes() const {
        return Bytes{first, type} + number(gport, 2) + number(limit, 2) + number(time, 2) + number(code, 2) +
               number(num, 2) + number(error, 4) + number(static_cast<std::uint32_t>(payload.size()), 4) + payload;
    }
    bool is_heartbeat() const { return bytes() == hex("02 00 00 00 ff ff 00 00 00 00 00 00 00 00 00 00 00 00 00 00"); }
};
inline bool operator==(const Wire_message& _a, const Wire_message& _b) {
    return _a.bytes() == _b.bytes();
}

inline sockaddr_in socket_address(std::uint16_t _port, const char* _ip = "127.0.0.1") {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(_port);
    address.sin_addr.s_addr = ::inet_addr(_ip);
    return address;
}

/// Owns a socket; a watchdog ends its reads.
class Raw_socket {
public:
    explicit Raw_socket(int _fd) : fd(_fd) {
        EXPECT_NE(fd, -1) << std::strerror(errno);
        const timeval watchdog{25, 0};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &watchdog, sizeof watchdog);
        set(IPPROTO_TCP, TCP_NODELAY, 1);
    }
    Raw_socket(Raw_socket&& _other) noexcept : fd(std::exchange(_other.fd, -1)) {}
    ~Raw_socket() { close(); }

    void set(int _level, int _option, int _value) const { ::setsockopt(fd, _level, _option, &_value, sizeof _value); }
    void bind(std::uint16_t _port) const {
        const sockaddr_in address = socket_address(_port, "0.0.0.0");
        EXPECT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << std::strerror(errno);
    }
    std::uint16_t port() const {
        sockaddr_in address{};
        socklen_t length = sizeof address;
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
        return ntohs(address.sin_port);
    }
    void close() {
        if (fd != -1) ::close(fd);
        fd = -1;
    }
    /// Ends with a reset instead of an orderly close.
    void reset() {
        const linger at_once{1, 0};
        ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
        close();
    }
    /// A failure shows in what is read afterwards.
    void send(const Bytes& _bytes) const {
        for (std::size_t sent = 0; sent < _bytes.size();) {
            const ssize_t moved = ::send(fd, _bytes.data() + sent, _bytes.size() - sent, MSG_NOSIGNAL);
            if (moved <= 0) return;
            sent += static_cast<std::size_t>(moved);
        }
    }
    /// Fewer bytes at the end of the stream.
    Bytes read(std::size_t _size) const {
        Bytes bytes(_size);
        std::size_t have = 0;
        while (have < _size) {
            const ssize_t moved = ::recv(fd, bytes.data() + have, _size - have, 0);
            if (moved == -1 && errno == EAGAIN) ADD_FAILURE() << "nothing came";
            if (moved <= 0) break;
            have += static_cast<std::size_t>(moved);
        }
        bytes.resize(have);
        return bytes;
    }
    void send_to(std::uint16_t _port, const Bytes& _bytes, const char* _ip = "127.0.0.1") const {
        const sockaddr_in to = socket_address(_port, _ip);
        ::sendto(fd, _bytes.data(), _bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }
    bool readable(int _milliseconds) const {
        pollfd one{fd, POLLIN, 0};
        return ::poll(&one, 1, _milliseconds) == 1;
    }

    int fd;
};

/// A further socket of a port that the runtime has, too.
inline Raw_socket datagram_socket(std::uint16_t _port) {
    Raw_socket raw(::socket(AF_INET, SOCK_DGRAM, 0));
    raw.set(SOL_SOCKET, SO_REUSEADDR, 1);
    raw.bind(_port);
    return raw;
}

/// The opening record: 40 characters, zeros, and the two ports.
inline Bytes opening(std::uint16_t _sender, std::uint16_t _receiver) {
    Bytes bytes = text("Handshake@ 2020 Kestrane Corperation!!!!");
    bytes.resize(1020, 0);
    return bytes + number(_sender, 2) + number(_receiver, 2);
}

/// A connection, either side of it.
class Raw_connection : public Raw_socket {
public:
    using Raw_socket::Raw_socket;

    void send(const Wire_message& _message) const { Raw_socket::send(_message.bytes()); }
    using Raw_socket::send;

    /// The next message, a heartbeat included.
    Wire_message any() const {
        const Bytes head = read(20);
        if (head.size() < 20) throw std::runtime_error("the stream ended where a message was due");
        const auto at = [&head](std::size_t _at, std::size_t _size = 2) {
            std::uint32_t value = 0;
            while (_size-- != 0) value = value << 8 | head[_at + _size];
            return value;
        };
        const auto word = [&at](std::size_t _at) { return static_cast<std::uint16_t>(at(_at)); };
        Wire_message message{head[1], word(8), word(10),  read(at(16, 4)), word(2),
                             word(4), word(6), at(12, 4), head[0]};
        EXPECT_EQ(message.payload.size(), at(16, 4)) << "a size that is not followed by its bytes";
        return message;
    }
    /// The next message but for heartbeats, which keep the watchdog of the socket quiet.
    Wire_message next() const {
        for (int beats = 0; beats < 30; ++beats) {
            Wire_message message = any();
            if (!message.is_heartbeat()) return message;
        }
        throw std::runtime_error("only heartbeats came");
    }
    /// Whether the far side ends the stream, after what it still sends; a reset counts.
    bool ends() const {
        for (int bytes = 0; bytes < 1000 && !read(1).empty();) ++bytes;
        return !testing::Test::HasFailure();
    }
};

inline int stream() {
    return ::socket(AF_INET, SOCK_STREAM, 0);
}

/// Connects to a service.
class Raw_client : public Raw_connection {
public:
    explicit Raw_client(std::uint16_t _service, int _receive_buffer = 0, int _fd = stream())
        : Raw_connection(_fd), service(_service) {
        if (_receive_buffer != 0) set(SOL_SOCKET, SO_RCVBUF, _receive_buffer);
        const sockaddr_in address = socket_address(_service);
        EXPECT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
            << std::strerror(errno);
    }
    /// The opening exchange. @return what the service said.
    Bytes open() const {
        send(opening(port(), service));
        return read(1024);
    }
    Wire_message call(std::uint16_t _num, const Bytes& _payload, std::uint8_t _type = 0x30,
                      std::uint16_t _code = 7) const {
        return {_type, _code, _num, _payload, port()};
    }

    std::uint16_t service;
};

/// Listens as a service does.
class Raw_server : public Raw_socket {
public:
    explicit Raw_server(int _fd = stream()) : Raw_socket(_fd) { EXPECT_EQ(::listen(fd, 100), 0); }
    Raw_connection accept() const { return Raw_connection(::accept(fd, nullptr, nullptr)); }
    /// The next connection with its opening exchange done.
    Raw_connection accept_open() const {
        Raw_connection connection = accept();
        const Bytes hello = connection.read(1024);
        connection.send(opening(port(), static_cast<std::uint16_t>(hello[1020] | hello[1021] << 8)));
        return connection;
    }
};

}  // namespace net
