/// @file
/// The demonstration functions, and what they share. `main` calls none of them.
#pragma once

#include <cstdio>

#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_error.h"

/// Both ends in this process: three calls through the typed bindings. Prints, and returns after some seconds.
void test1();
/// A client alone: follows the service "something" for 1000 seconds. Its callbacks print.
void test2();
/// The raw classes: a service "ssss" of its own, and 500 signals to a service "stub" of another process.
void Test3();
/// `Component4::main`: a service that starts and stops 1000 times.
void test4();

/// Goes on sleeping after a signal.
void sleep_a_second();
/// Looks each second, for at most 10. @throws Vorn35::Error "VORN_ERR_NOT_CONNECTED_TCP_".
void wait_connected(Vorn35::Proxy& _proxy);

/// "<what> = <name of the error>", flushed, so that a reader at the end of a pipe sees each line at once.
inline void print_flushed(const char* _what, Vorn35::Error _err) {
    std::printf("%s = %s\n", _what, Vorn35::get_err_str(_err));
    std::fflush(stdout);
}
/// One line, flushed.
inline void print_flushed(const char* _line) {
    std::printf("%s\n", _line);
    std::fflush(stdout);
}
