// Uses of the C interface all of which run without a network.
#include <stdio.h>

#include "Vorn35/Vorn.h"

#if VORN35_VERSION < VORN35_MAKE_VERSION(0, 1, 0)
#error "an older version than find_package asks for"
#endif

static void on_change(Vorn_inst* stub, Vorn_addr client) {
    (void)stub;
    (void)client;
}

int main(void) {
    Vorn_inst* const service = vorn_stub_alloc(on_change, on_change);
    Vorn_port port = 0;
    printf("%s %s %d %d %s\n", vorn_get_err_str(vorn_stub_start(service, "service", &port)),
           vorn_inet_ntoa(vorn_inet_addr("198.51.100.7")), vorn_on_post, vorn_on_timer, vorn35_version());
    vorn_stub_free(service);
    return 0;
}
