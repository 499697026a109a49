/// @file
/// Result codes. 0 is success; every code of the runtime is negative. An application may return codes of its own;
/// they travel like any other.
///
/// Operations return errors and do not throw them. A positive result is an `errno` of the operating system, for
/// instance of a port in use in `Stub::start`. A `start` returns -1 when no network thread can serve its sockets, as
/// after an `initialize` without file descriptors. Exceptions are: `std::bad_alloc` or `std::system_error` when the
/// system has no memory, threads or locks left, and those of `initialize`.
#pragma once

#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// Success.
inline constexpr Error VORN_ERR_NONE_ = 0;

// 0x8000000n: the receiving process reports it.

/// `Stub::start`: the name is in use in this process.
inline constexpr Error VORN_ERR_ALREADY_USED_NAME_ = static_cast<Error>(0x80000001U);
/// The receiving process has no such service. Or, on the sending side: the `Proxy` is not connected.
inline constexpr Error VORN_ERR_OBJECT_IS_NOT_EXIST_ = static_cast<Error>(0x80000002U);
/// The `Stub` has no member under the message's code.
inline constexpr Error VORN_ERR_NOT_SUPPORT_CODE_ = static_cast<Error>(0x80000003U);
/// Reserved; nothing raises it.
inline constexpr Error VORN_ERR_NOT_IMPLEMENT_ = static_cast<Error>(0x80000004U);
/// An answer arrived after its time limit.
inline constexpr Error VORN_ERR_REMOTE_TIMEOUT_ = static_cast<Error>(0x80000005U);
/// `stop_and_wait` inside a callback of its object. The runtime also uses it for a message that a full pipe refuses;
/// the sender of that message does not learn of it.
inline constexpr Error VORN_ERR_BUSY_ = static_cast<Error>(0x80000006U);
/// The process is shutting down.
inline constexpr Error VORN_ERR_SHUTDOWN_ = static_cast<Error>(0x80000007U);

// 0xC000000n: the calling side reports it.

/// An `await_` operation reached its limit.
inline constexpr Error VORN_ERR_LOCAL_TIMEOUT_ = static_cast<Error>(0xC0000000U);
/// A queued message could not be sent because its connection is lost.
inline constexpr Error VORN_ERR_NOT_CONNECTED_TCP_ = static_cast<Error>(0xC0000001U);
/// The caller's buffer is too small for the answer.
inline constexpr Error VORN_ERR_BOUNDOUT_BUFFER_ = static_cast<Error>(0xC0000002U);
/// The send was refused on the local side.
inline constexpr Error VORN_ERR_BUSY_LOCALHOST_ = static_cast<Error>(0xC0000003U);
/// More bytes than the member's buffer, or a datagram, holds.
inline constexpr Error VORN_ERR_TOO_BIG_SIZE_ = static_cast<Error>(0xC0000004U);
/// The `Stub` or `Proxy` is not started.
inline constexpr Error VORN_ERR_IS_NOT_CREATED_ = static_cast<Error>(0xC0000005U);
/// An `await_` operation was given a null `Promise`.
inline constexpr Error VORN_ERR_NULL_RETURN_OBJECT_ = static_cast<Error>(0xC0000006U);
/// The link that was asked for stands already.
inline constexpr Error VORN_ERR_ALREADY_CONNECTED_ = static_cast<Error>(0xC0000007U);
/// `start` on an object that is started, or `initialize` on a runtime that is up.
inline constexpr Error VORN_ERR_ALREADY_CREATED_ = static_cast<Error>(0xC0000008U);
/// The TCP connection is lost.
inline constexpr Error VORN_ERR_DISCONNECTED_TCP_ = static_cast<Error>(0xC0000009U);
/// `post`: the block was written past its end. Nothing raises it: blocks are not checked.
inline constexpr Error VORN_ERR_DURTY_MEMORY_ = static_cast<Error>(0xC000000AU);
/// Reserved; nothing raises it.
inline constexpr Error VORN_ERR_OVERLAPED_PACKET_ = static_cast<Error>(0xC000000BU);

// 0xD000000n: state and memory.

/// `post` without a block of `get`, or with one that a `stop` took away.
inline constexpr Error VORN_ERR_DONT_GET_ = static_cast<Error>(0xD0000000U);
/// A block was not available, for instance because the object was stopped. A lack of memory throws instead: see above.
inline constexpr Error VORN_ERR_EMPTY_VORN_MEMORY_ = static_cast<Error>(0xD0000001U);
/// Reserved; nothing raises it.
inline constexpr Error VORN_ERR_EMPTY_PROCESS_MEMORY_ = static_cast<Error>(0xD0000002U);
/// There is no value to send, or nobody to send it to.
inline constexpr Error VORN_ERR_NOT_EXIST_SYNC_DATA_ = static_cast<Error>(0xD0000003U);
/// `read`: the history is empty.
inline constexpr Error VORN_ERR_EMPTY_HISTORY_ = static_cast<Error>(0xD0000004U);
/// The address is in use in this process.
inline constexpr Error VORN_ERR_ALREADY_USED_ADDR_ = static_cast<Error>(0xD0000005U);
/// The runtime is not up: `initialize` first.
inline constexpr Error VORN_ERR_NOT_INITIALIZE_ = static_cast<Error>(0xD0000006U);

/// Name of a result code, for instance "VORN_ERR_BUSY_"; "VORN_ERR_UNKNOWN_" for any other number.
/// The text is static. Any thread may call it.
VORN35_API const char* get_err_str(Error _err);

}  // namespace Vorn35
