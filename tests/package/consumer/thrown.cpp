// Prints the type of what `initialize` throws. With an argument, the process has no memory for all of the threads.
#include <sys/resource.h>

#include <boost/property_tree/exceptions.hpp>
#include <cstdio>
#include <system_error>

#include "Vorn35/Vorn35.h"

int main(int argc, char**) {
    const rlimit limit{64 << 20, 64 << 20};
    if (argc > 1) setrlimit(RLIMIT_AS, &limit);
    try {
        try {
            Vorn35::initialize();
        } catch (const std::exception&) {
            throw;
        }
    } catch (const boost::property_tree::ptree_bad_path&) {
        std::puts("bad path");
    } catch (const std::system_error&) {
        std::puts("system error");
    }
}
