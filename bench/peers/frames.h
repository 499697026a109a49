/// @file
/// What the two floors send: a header of 20 bytes, as ours has, and the payload. Blocking sockets.
#pragma once

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

namespace bench {

struct Frame_header {
    std::uint32_t size;
    char rest[16];
};
static_assert(sizeof(Frame_header) == 20);

inline sockaddr_in loopback(unsigned short port, unsigned index = 0) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    // All of 127.0.0.0/8 is this host: more connections than one address has ports.
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + (index / 200 << 8U) + index % 200);
    return address;
}

inline int listen_tcp(unsigned short* port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    socklen_t length = sizeof address;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(fd, 4096) != 0) std::abort();
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    *port = ntohs(address.sin_port);
    return fd;
}

inline int no_delay(int fd) {
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return fd;
}

inline int connect_tcp(unsigned short port, unsigned index = 0) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port, index);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) std::abort();
    return no_delay(fd);
}

/// @return false at the end of the connection.
inline bool write_all(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t done = ::send(fd, data, size, MSG_NOSIGNAL);
        if (done <= 0) return false;
        data += done;
        size -= static_cast<std::size_t>(done);
    }
    return true;
}

/// Bytes read that are no whole frame yet.
class Frame_reader {
public:
    /// Reads once, at least one frame, and hands out the frames that are whole as one run of bytes.
    /// @param use called with the run, its size in bytes and the number of its frames.
    template <class Use>
    bool read(int fd, Use use) {
        for (;;) {
            if (end_ + c_least > buffer_.size()) buffer_.resize(end_ + 4 * c_least);
            const ssize_t got = ::recv(fd, buffer_.data() + end_, buffer_.size() - end_, 0);
            if (got <= 0) return false;
            end_ += static_cast<std::size_t>(got);
            std::size_t whole = 0;
            std::size_t frames = 0;
            for (Frame_header header{}; whole + sizeof header <= end_; ++frames) {
                std::memcpy(&header, buffer_.data() + whole, sizeof header);
                if (whole + sizeof header + header.size > end_) break;
                whole += sizeof header + header.size;
            }
            if (frames == 0) continue;
            whole_ = whole;
            use(buffer_.data(), whole, frames);
            end_ -= whole_;
            if (end_ != 0) std::memmove(buffer_.data(), buffer_.data() + whole_, end_);
            return true;
        }
    }

    /// Called by `use`: gives the buffer away for another one, if nothing is in it but the run.
    bool give_away(std::vector<char>* buffer) {
        if (end_ != whole_) return false;
        std::swap(*buffer, buffer_);
        end_ = whole_ = 0;
        return true;
    }

private:
    static constexpr std::size_t c_least = 1U << 16U;
    std::vector<char> buffer_;  ///< As large as it ever had to be.
    std::size_t end_ = 0;       ///< Of what was read.
    std::size_t whole_ = 0;     ///< Of the run that is in use.
};

/// Writes a frame over what was in the vector, whose memory is used again.
inline const std::vector<char>& make_frame(const void* data, std::size_t size, std::vector<char>* frame) {
    const Frame_header header{static_cast<std::uint32_t>(size), {}};
    frame->resize(sizeof header + size);
    std::memcpy(frame->data(), &header, sizeof header);
    std::memcpy(frame->data() + sizeof header, data, size);
    return *frame;
}

}  // namespace bench
