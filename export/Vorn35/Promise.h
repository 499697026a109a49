/// @file
/// Handle of an outstanding request.
#pragma once

namespace Vorn35 {

/// Made by an `async_` operation and given back to the matching `await_` operation, which frees it.
///
/// To be awaited exactly once, by one thread. One that is never awaited is never freed. An `async_` operation
/// that failed gives a `Promise`, too: the `await_` operation then returns the failure.
class Promise;
/// How a request is handed over.
using Promise_ = Promise*;

}  // namespace Vorn35
