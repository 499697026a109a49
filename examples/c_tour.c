/// @file
/// Every kind of interface through the C functions, from both sides:
///
///     c_tour service              publishes one of each kind, and ends when its client has left
///     c_tour client 198.51.100.2  uses all of them; the address is that of the service's host
///
/// The client's command makes the service publish a value, its signal an event and a datagram. Both programs
/// end without a command; the exit code is 0 only if every result was right.

#define _POSIX_C_SOURCE 200809L

#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include "Vorn35/Vorn.h"

enum { PORT = 50200 };
/// One code for each method; a code may even stand once in each kind.
enum { ADD = 1, BELL = 2, NEWS = 3, DOUBLE = 4, NUMBER = 5, BEACON = 6 };

typedef struct Terms {
    double a;
    double b;
} Terms;

static const double c_limit = 0.5;  ///< Seconds of an exchange.
enum { PATIENCE = 20 };             ///< Seconds; longer than anything takes, even on a busy machine.
enum { ATTEMPTS = 20 };             ///< Of what may be repeated.

// --- what has happened -----------------------------------------------------------------------------------
// Callbacks run on threads of the runtime. They leave notes here, which the main thread waits for.

typedef enum Happening {
    CONNECTED,
    LEFT,
    CALLED,
    SIGNALLED,
    RETURNED,
    LINKED,
    COMMANDED,
    INFORMED,
    EVENT,
    DATAGRAM,
    HAPPENINGS
} Happening;

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;  // Guards all three.
static pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
static int happened[HAPPENINGS];
static int failures;

/// One line of the account.
static void note(const char* what, bool as_expected) {
    pthread_mutex_lock(&mutex);
    printf("  %-58s %s\n", what, as_expected ? "ok" : "NOT AS EXPECTED");
    if (!as_expected) ++failures;
    pthread_mutex_unlock(&mutex);
}

static void tell(Happening happening) {
    pthread_mutex_lock(&mutex);
    ++happened[happening];
    pthread_cond_broadcast(&changed);
    pthread_mutex_unlock(&mutex);
}

/// Whether it has happened so often, or does so in time.
static bool await(Happening happening, int times) {
    struct timespec end;
    timespec_get(&end, TIME_UTC);
    end.tv_sec += PATIENCE;
    pthread_mutex_lock(&mutex);
    while (happened[happening] < times && pthread_cond_timedwait(&changed, &mutex, &end) == 0) {
    }
    const bool did = happened[happening] >= times;
    pthread_mutex_unlock(&mutex);
    return did;
}

static int exit_code(void) {
    pthread_mutex_lock(&mutex);
    const int code = failures == 0 ? 0 : 1;
    pthread_mutex_unlock(&mutex);
    return code;
}

static void copy(void* to, const void* from, size_t size) {
    memcpy(to, from, size);  // NOLINT: the lint wants memcpy_s, which the C library does not have
}

/// A payload comes from another process, so check its size before use.
static bool is_number(const void* data, Vorn_pksize size, double expected) {
    double number = 0;
    if (size != sizeof number) return false;
    copy(&number, data, sizeof number);
    return number == expected;
}

// --- the service -----------------------------------------------------------------------------------------

/// A callback receives the method that it was given to and nothing else of ours, so the others stand here.
/// Written before the start and after the end of the runtime only.
static struct {
    Vorn_inst* stub;
    Vorn_inst* add;
    Vorn_inst* bell;
    Vorn_inst* news;
    Vorn_inst* twice;
    Vorn_inst* number;
    Vorn_inst* beacon;
} service;

static void on_client(Vorn_inst* stub, Vorn_addr client) {
    (void)stub;
    (void)client;
    tell(CONNECTED);
}

static void on_client_gone(Vorn_inst* stub, Vorn_addr client) {
    (void)stub;
    (void)client;
    tell(LEFT);
}

static Vorn_error on_add(Vorn_inst* call, Vorn_addr client, const void* in, Vorn_pksize in_size, void* out,
                         Vorn_pksize* out_size, double elapsed, double limit) {
    (void)call;
    (void)client;
    Terms terms;
    if (in_size != sizeof terms) return vorn_err_boundout_buffer;
    copy(&terms, in, sizeof terms);
    const double sum = terms.a + terms.b;
    copy(out, &sum, sizeof sum);
    *out_size = sizeof sum;
    note("a call with some of its limit left", elapsed >= 0 && limit > 0);
    tell(CALLED);
    return vorn_err_none;
}

static void on_bell(Vorn_inst* signal, Vorn_addr client, const void* data, Vorn_pksize size, double elapsed) {
    (void)signal;
    (void)client;
    (void)elapsed;
    note("a signal", size == 4 && memcmp(data, "ring", 4) == 0);
    note("an event for every linked client", vorn_stub_event_event(service.news, data, size) == 0);
    note("a datagram for everybody", vorn_stub_datagram_broadcast(service.beacon, data, size) == 0);
    tell(SIGNALLED);
}

static void on_cancel(Vorn_inst* method, Vorn_addr client, Vorn_error err) {
    (void)method;
    (void)client;
    (void)err;
    note("nothing is cancelled", false);
}

static void on_number(Vorn_inst* command, Vorn_addr client, Vorn_sync_model model, double elapsed, double limit,
                      const void* data, Vorn_pksize size) {
    (void)command;
    (void)client;
    (void)elapsed;
    (void)limit;
    note("a command", model == vorn_on_post && is_number(data, size, 21));
    const double twice = 42;
    note("a value for every linked client", vorn_stub_information_write(service.twice, &twice, sizeof twice) == 0);
    tell(COMMANDED);
}

static Vorn_error on_ask_link(Vorn_inst* method, Vorn_addr client, double elapsed, double limit) {
    (void)method;
    (void)client;
    (void)elapsed;
    (void)limit;
    return vorn_err_none;
}

static Vorn_error on_ask_information_link(Vorn_inst* information, Vorn_addr client, bool reliability, double elapsed,
                                          double limit) {
    (void)reliability;
    return on_ask_link(information, client, elapsed, limit);
}

static void on_client_unlink(Vorn_inst* method, Vorn_addr client, Vorn_error err) {
    (void)method;
    (void)client;
    (void)err;
}

static int serve(void) {
    service.stub = vorn_stub_alloc(on_client, on_client_gone);
    service.add = vorn_stub_call_alloc(ADD, sizeof(double), service.stub, on_add, on_cancel);
    service.bell = vorn_stub_signal_alloc(BELL, service.stub, on_bell, on_cancel);
    service.news = vorn_stub_event_alloc(NEWS, service.stub, on_ask_link, on_client_unlink);
    service.twice = vorn_stub_information_alloc(DOUBLE, service.stub, on_ask_information_link, on_client_unlink);
    service.number = vorn_stub_command_alloc(NUMBER, service.stub, on_number, on_ask_link, on_client_unlink);
    service.beacon = vorn_stub_datagram_alloc(BEACON, service.stub);

    Vorn_port port = PORT;
    const Vorn_error started = vorn_stub_start(service.stub, "c_tour", &port);
    printf("service on port %u: %s\n", port, started > 0 ? strerror(started) : vorn_get_err_str(started));
    if (started == vorn_err_none) {
        note("the client has come and gone", await(LEFT, 1));
        note("it has used everything", await(CALLED, 1) && await(SIGNALLED, 1) && await(COMMANDED, 1));
    } else {
        note("start", false);
    }

    // From here on no callback runs, so the objects can go: methods first.
    vorn_finalize();
    vorn_stub_datagram_free(service.beacon);
    vorn_stub_command_free(service.number);
    vorn_stub_information_free(service.twice);
    vorn_stub_event_free(service.news);
    vorn_stub_signal_free(service.bell);
    vorn_stub_call_free(service.add);
    vorn_stub_free(service.stub);
    return exit_code();
}

// --- the client ------------------------------------------------------------------------------------------

static void on_connect(Vorn_inst* proxy) {
    (void)proxy;
    tell(CONNECTED);
}

static void on_disconnect(Vorn_inst* proxy) {
    (void)proxy;
    note("the connection stands", false);
}

static void on_sum(Vorn_inst* call, Vorn_seq seq, Vorn_error err, const void* data, Vorn_pksize size, double elapsed) {
    (void)call;
    (void)seq;
    (void)elapsed;
    note("delegate: 1 + 2, the answer to a callback", err == vorn_err_none && is_number(data, size, 3));
    tell(RETURNED);
}

static void on_confirmed(Vorn_inst* method, Vorn_seq seq, Vorn_error err, double elapsed) {
    (void)method;
    (void)seq;
    (void)elapsed;
    note("delegate: a signal or a link, the result to a callback", err == vorn_err_none);
    tell(LINKED);
}

static void on_unlink(Vorn_inst* method, Vorn_error err) {
    (void)method;
    (void)err;
    note("the links stand", false);
}

static void on_news(Vorn_inst* event, const void* data, Vorn_pksize size, double elapsed) {
    (void)event;
    (void)elapsed;
    note("an event", size == 4 && memcmp(data, "ring", 4) == 0);
    tell(EVENT);
}

static void on_twice(Vorn_inst* information, Vorn_sync_model model, double elapsed, double limit, const void* data,
                     Vorn_pksize size) {
    (void)information;
    (void)elapsed;
    (void)limit;
    note("a value", model == vorn_on_post && is_number(data, size, 42));
    tell(INFORMED);
}

static void on_beacon(Vorn_inst* datagram, Vorn_addr from, const void* data, Vorn_pksize size, double elapsed) {
    (void)datagram;
    (void)elapsed;
    note("a datagram", from.port == PORT && size == 4 && memcmp(data, "ring", 4) == 0);
    tell(DATAGRAM);
}

// An answer that is there before the wait begins does not end it. So these ask again when their limit has
// passed.

static Vorn_error call_add(Vorn_inst* add, Terms terms, double* sum) {
    Vorn_error err = vorn_err_local_timeout;
    for (int i = 0; i < ATTEMPTS && err == vorn_err_local_timeout; ++i) {
        Vorn_promise* promise = vorn_proxy_call_async_call(add, &terms, sizeof terms, c_limit);
        Vorn_pksize size = sizeof *sum;
        err = vorn_proxy_call_await_return(add, promise, sum, &size, NULL);
    }
    return err;
}

static Vorn_error link_information(Vorn_inst* information) {
    Vorn_error err = vorn_err_local_timeout;
    for (int i = 0; i < ATTEMPTS && err == vorn_err_local_timeout; ++i) {
        Vorn_promise* promise = vorn_proxy_information_async_link(information, true, c_limit);
        err = vorn_proxy_information_await_link_return(information, promise, NULL);
    }
    return err;
}

static Vorn_error link_command(Vorn_inst* command) {
    Vorn_error err = vorn_err_local_timeout;
    for (int i = 0; i < ATTEMPTS && err == vorn_err_local_timeout; ++i) {
        Vorn_promise* promise = vorn_proxy_command_async_link(command, c_limit);
        err = vorn_proxy_command_await_link_return(command, promise, NULL);
    }
    return err;
}

static int use(const char* host) {
    Vorn_inst* proxy = vorn_proxy_alloc(on_connect, on_disconnect);
    Vorn_inst* add = vorn_proxy_call_alloc(ADD, proxy, on_sum);
    Vorn_inst* bell = vorn_proxy_signal_alloc(BELL, proxy, on_confirmed);
    Vorn_inst* news = vorn_proxy_event_alloc(NEWS, proxy, on_confirmed, on_unlink, on_news);
    Vorn_inst* twice = vorn_proxy_information_alloc(DOUBLE, proxy, on_confirmed, on_unlink, on_twice);
    Vorn_inst* number = vorn_proxy_command_alloc(NUMBER, proxy, on_confirmed, on_unlink);
    Vorn_inst* beacon = vorn_proxy_datagram_alloc(BEACON, proxy, on_beacon);

    const Vorn_addr address = {vorn_inet_addr(host), PORT};
    printf("client of %s:%u\n", vorn_inet_ntoa(address.ip), address.port);
    // Whenever the service comes, the connection does.
    note("start", vorn_proxy_start(proxy, address) == vorn_err_none);
    if (await(CONNECTED, 1)) {
        const Terms one_and_two = {1, 2};
        Vorn_seq seq = 0;
        note("call", vorn_proxy_call_delegate_call(add, &seq, &one_and_two, sizeof one_and_two, PATIENCE) == 0);
        note("its answer", await(RETURNED, 1));
        double sum = 0;
        note("async and await: 3 + 4", call_add(add, (Terms){3, 4}, &sum) == vorn_err_none && sum == 7);

        Vorn_msg_num num = 0;
        note("ask for the event", vorn_proxy_event_delegate_link(news, &num, PATIENCE) == vorn_err_none);
        note("its link", await(LINKED, 1) && vorn_proxy_event_is_linked(news));
        note("link to the value", link_information(twice) == vorn_err_none);
        note("link to the command", link_command(number) == vorn_err_none);

        note("signal", vorn_proxy_signal_delegate_signal(bell, &seq, "ring", 4, PATIENCE) == vorn_err_none);
        note("its result, the event and the datagram", await(LINKED, 2) && await(EVENT, 1) && await(DATAGRAM, 1));

        // Written in place; vorn_proxy_command_write does the same in one step.
        double* value = vorn_proxy_command_get(number, sizeof *value);
        if (value != NULL) *value = 21;
        note("command 21", vorn_proxy_command_post(number, sizeof *value) == vorn_err_none);
        double result = 0;
        Vorn_pksize size = sizeof result;
        note("the value 42", await(INFORMED, 1) &&
                                 vorn_proxy_information_read(twice, &result, &size) == vorn_err_none &&
                                 is_number(&result, size, 42));
    } else {
        note("connect", false);
    }

    // Lets what is queued go out; no callback follows but those that run, which the end of the runtime waits
    // for.
    vorn_proxy_stop(proxy);
    vorn_finalize();
    vorn_proxy_datagram_free(beacon);
    vorn_proxy_command_free(number);
    vorn_proxy_information_free(twice);
    vorn_proxy_event_free(news);
    vorn_proxy_signal_free(bell);
    vorn_proxy_call_free(add);
    vorn_proxy_free(proxy);
    return exit_code();
}

int main(int argc, char** argv) {
    setvbuf(stdout, NULL, _IOLBF, 0);
    const bool serves = argc == 2 && strcmp(argv[1], "service") == 0;
    if (!serves && (argc != 3 || strcmp(argv[1], "client") != 0)) {
        fprintf(stderr, "usage: c_tour service | c_tour client ADDRESS\n");
        return 2;
    }
    vorn_initialize_default();
    return serves ? serve() : use(argv[2]);
}
