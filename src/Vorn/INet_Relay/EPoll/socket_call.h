/// @file
/// System calls on sockets behind one thin seam: interruption, partial transfers and "would block" are told
/// apart here and nowhere else. No call blocks, and none raises SIGPIPE.
#pragma once

#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstddef>

#include "Vorn/INet_Relay/EPoll/epoll.h"

namespace Vorn35 {

enum class Transfer {
    moved,        ///< Some bytes went.
    would_block,  ///< None now; ask epoll.
    ended,        ///< End of stream or error: the connection is of no use any more.
};

/// Repeats a system call that a signal interrupted.
template <class Call>
auto uninterrupted(Call _call) {
    decltype(_call()) result;
    do {
        result = _call();
    } while (result == -1 && errno == EINTR);
    return result;
}

/// The call would have to wait.
inline bool is_would_block(int _errno) {
    return _errno == EAGAIN || _errno == EWOULDBLOCK;
}

/// Classifies the result of a transfer on a stream and reports the bytes moved.
inline Transfer classify(ssize_t _result, std::size_t* _moved_) {
    if (_result > 0) {
        *_moved_ = static_cast<std::size_t>(_result);
        return Transfer::moved;
    }
    if (_result == -1 && is_would_block(errno)) return Transfer::would_block;
    return Transfer::ended;
}

inline Transfer receive_stream(Socket _socket, iovec* _pieces_, std::size_t _count, std::size_t* _moved_) {
    msghdr message{};
    message.msg_iov = _pieces_;
    message.msg_iovlen = _count;
    return classify(uninterrupted([&] { return ::recvmsg(_socket, &message, MSG_DONTWAIT); }), _moved_);
}

inline Transfer send_stream(Socket _socket, iovec* _pieces, std::size_t _count, std::size_t* _moved_) {
    msghdr message{};
    message.msg_iov = _pieces;
    message.msg_iovlen = _count;
    return classify(uninterrupted([&] { return ::sendmsg(_socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL); }), _moved_);
}

}  // namespace Vorn35
