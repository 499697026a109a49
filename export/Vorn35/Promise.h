/// @file
/// Handle of an outstanding request.
#pragma once

namespace Vorn35 {

/// An outstanding request. An `async_` operation allocates it; the matching `await_` operation waits for it and frees
/// it.
///
/// Await each `Promise` exactly once, on one thread. One that is never awaited is a memory leak. An `async_` operation
/// that fails returns a `Promise` as well: the `await_` operation then returns the failure at once.
class Promise;
/// Pointer to a `Promise` that must be passed to an `await_` operation.
using Promise_ = Promise*;

}  // namespace Vorn35
