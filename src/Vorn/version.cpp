#include "Vorn35/version.h"

const char* vorn35_version() {
    return VORN35_VERSION_STRING;
}
