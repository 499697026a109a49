/// @file
/// The account that the tour prints: one line a step, and whether all went as it should.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

namespace tour {

class Account {
public:
    using clock = std::chrono::steady_clock;

    void title(const char* _title) { std::printf("\n%s\n", _title); }

    /// @param _what what was done.
    /// @param _result what came of it.
    /// @param _seconds how long it took.
    /// @param _as_expected false fails the tour.
    void step(const std::string& _what, const std::string& _result, double _seconds, bool _as_expected) {
        std::printf("  %-46s %-42s %9.3f ms  %s\n", _what.c_str(), _result.c_str(), _seconds * 1e3,
                    _as_expected ? "ok" : "NOT AS EXPECTED");
        if (!_as_expected) ++failures;
    }

    int exit_code() const { return failures == 0 ? 0 : 1; }

private:
    int failures = 0;
};

/// Measures one step.
class Stopwatch {
public:
    double seconds() const { return std::chrono::duration<double>(Account::clock::now() - begin).count(); }

private:
    const Account::clock::time_point begin = Account::clock::now();
};

}  // namespace tour
