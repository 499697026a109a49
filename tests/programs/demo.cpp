// Reaches what the demonstration holds and its `main` does not call, and its `main` with a service that is told when:
//
//     peer demo test1|test2|Test3|test4
//     peer demo stub NAME PORT           its service, under this name, until the end of input
//
// Its seconds take a tenth of one here.
#include "Vorn35_Stub_demo.h"
#include "Vorn35_Test.h"
#include "programs/words.h"

// The linker puts this in the place of `sleep_a_second`.
extern "C" void __wrap__Z14sleep_a_secondv() {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

int peer::demonstrate(const Arguments& _arguments) {
    // Tests follow the output of programs that they kill.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::map<std::string, void (*)()> functions{
        {"test1", test1}, {"test2", test2}, {"Test3", Test3}, {"test4", test4}};
    if (const auto found = functions.find(_arguments[0]); found != functions.end()) {
        found->second();
        return 0;
    }
    initialize();
    ::Stub stub;
    Port port = _arguments.port(2);
    if (const Error err = stub.start(_arguments[1], &port); err != 0) return err;
    return run();
}
