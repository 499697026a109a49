// Uses of the C interface all of which run without a network.
#include <stdio.h>

#include "Vorn35/Vorn.h"

static void on_change(Vorn_inst* stub, Vorn_addr client) {
    (void)stub;
    (void)client;
}

int main(void) {
    Vorn_inst* const service = vorn_stub_alloc(on_change, on_change);
    Vorn_port port = 0;
    printf("%s %s %d %d\n", vorn_get_err_str(vorn_stub_start(service, "service", &port)),
           vorn_inet_ntoa(vorn_inet_addr("198.51.100.7")), vorn_on_post, vorn_on_timer);
    vorn_stub_free(service);
    return 0;
}
