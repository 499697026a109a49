#include "Kestrane/_debug.h"

#include <execinfo.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#include <sanitizer/common_interface_defs.h>
#endif

namespace Kestrane {

void Call_stack::capture() {
    depth = ::backtrace(frames.data(), static_cast<int>(frames.size()));
}

void Call_stack::print() const {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    // The sanitizers know functions and lines, also of what the program does not export.
    for (int i = 0; i < depth; ++i) {
        std::array<char, 2048> lines{};
        auto* const call = static_cast<char*>(frames[static_cast<std::size_t>(i)]) - 1;
        __sanitizer_symbolize_pc(call, "    %p %f %S", lines.data(), lines.size());
        // One line for each function that was inlined there; an empty one ends them.
        for (const char* line = lines.data(); *line != '\0'; line += std::strlen(line) + 1) {
            std::fprintf(stderr, "%s\n", line);
        }
    }
#else
    ::backtrace_symbols_fd(frames.data(), depth, STDERR_FILENO);
#endif
}

}  // namespace Kestrane
