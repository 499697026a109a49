#include "Vorn35_Test5.h"

int main() {
    Component5::main();
    return 0;
}
