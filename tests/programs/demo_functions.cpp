/// Reaches what the demonstration holds and its `main` does not call:
///
///     demo_functions test1|test2|Test3|test4
///     demo_functions stub NAME PORT           its service, under this name, until the end of input
///
/// The sources are taken in as they are, since the demonstration is a program that nothing can link to.

#include <cstdlib>
#include <cstring>

#include "Vorn35_Test.cpp"
#include "Vorn35_Test1.cpp"
#include "Vorn35_Test2.cpp"
#include "Vorn35_Test3.cpp"
#include "Vorn35_Test4.cpp"

namespace {

int serve(const char* _name, Vorn35::Port _port) {
    Vorn35::initialize();
    Error err = 0;
    {
        Stub stub;
        err = stub.start(_name, &_port);
        while (err == 0 && std::getchar() != EOF) {
        }
    }
    Vorn35::finalize();
    return err == 0 ? 0 : 1;
}

}  // namespace

int main(int _count, char** _arguments) {
    // Tests follow the output of programs that they kill.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const char* const name = _count > 1 ? _arguments[1] : "";
    if (_count == 4 && std::strcmp(name, "stub") == 0)
        return serve(_arguments[2], static_cast<Vorn35::Port>(std::atoi(_arguments[3])));
    const struct {
        const char* name;
        void (*run)();
    } functions[] = {{"test1", test1}, {"test2", test2}, {"Test3", Test3}, {"test4", test4}};
    for (const auto& function : functions) {
        if (std::strcmp(name, function.name) != 0) continue;
        function.run();
        return 0;
    }
    return 2;
}
