/// @file
/// The only place that handles interruption, partial transfers and "would block" of system calls on sockets. No call blocks
/// or raises SIGPIPE.
#pragma once

#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstddef>

#include "Vorn/INet_Relay/EPoll/epoll.h"

namespace Vorn35 {

enum class Transfer {
    moved,        ///< Some bytes were transferred.
    would_block,  ///< None at present; wait with epoll.
    ended,        ///< End of stream or error.
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

/// The error says that the call would block.
inline bool is_would_block(int _errno) {
    return _errno == EAGAIN || _errno == EWOULDBLOCK;
}

/// Classifies the result of a stream transfer.
/// @param _moved_ receives the bytes transferred.
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
