/*
 * pavo_async.c - the smallest complete asynchronous application: the same
 * session as pavo_sync.c (open, login, categories), each request queued from
 * the callback of the one before and every answer taken in a callback on the
 * main thread, which pumps messages. With the application profile a request
 * returns once queued, and a failed transfer arrives as a result of its own
 * class. A failure exits 1 with one line on stderr. usage: pavo-async WORKDIR
 */
#include <stdio.h>
#include <time.h>

#include <pavo.h>

/* Written by the callback, read by the main loop: both on the main thread. */
static int g_step; /* 0 open, 1 login, 2 categories, 3 done */
static int g_failed;

static void start_request(int step)
{
    pavo_status_t status = PAVO_STATUS_SUCCESS;
    switch (step) {
    case 0: {
        char tvid[64];
        pavo_readprop("tvid", tvid, sizeof tvid);
        status = pavo_open(1, OPENMODE_STBCODE, tvid, NULL);
        break;
    }
    case 1:
        status = pavo_login(2);
        break;
    case 2:
        status = pavo_querycategorylist(3, "", 1, 20);
        break;
    }
    if (status != PAVO_STATUS_SUCCESS) {
        fprintf(stderr, "request %d: %s\n", step, pavo_getlasterrortext());
        g_failed = 1;
    }
}

/* The result is freed when this returns: use it here, or copy it. */
static int on_answer(tpavo_event* event)
{
    const tpavo_result* result = event->data;
    if (result == NULL || result->resultcode < 0) {
        fprintf(stderr, "event %d failed: %d %s\n", event->eventtype,
                result ? result->resultcode : 0,
                result && result->resultmsg ? result->resultmsg : "no answer");
        g_failed = 1;
        return 0;
    }
    if (event->eventtype == EPAVO_QUERYCATEGORYLIST)
        for (const tpavo_category* c = result->data.categorylistresponse; c; c = c->next)
            printf("category %s %s\n", c->code, c->name ? c->name : "");
    if (event->eventtype == EPAVO_LOGIN)
        printf("logged in as %s\n", result->data.loginresponse->userid);
    ++g_step;
    if (g_step < 3)
        start_request(g_step);
    return 0;
}

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: %s WORKDIR\n", argv[0]);
        return 2;
    }
    pavo_init_param identity = {0};
    identity.oem_name = "PAVO";
    identity.terminal_type = "STB100";
    identity.device_id = "SIM0000001";
    identity.chipprofile = "CHIP/1.0";
    identity.clientprofile = "ASYNCDEMO/1.0";
    identity.workdirectory = identity.perpetualdirectory = identity.tmpdirectory = argv[1];
    identity.ipversion = 4;
    pavo_setprofile("application");
    if (pavo_init(&identity) != PAVO_STATUS_SUCCESS) {
        fprintf(stderr, "pavo_init: %s\n", pavo_getlasterrortext());
        return 1;
    }
    /* After pavo_init, which empties every slot. */
    pavo_registercallback(PAVO_CALLBACK_AAA, on_answer);
    pavo_registercallback(PAVO_CALLBACK_EPG, on_answer);
    pavo_setfuncmode(FUNCMODE_ASYNC);

    g_step = pavo_query_status() == PAVO_STATUS_SUCCESS ? 1 : 0;
    start_request(g_step);
    time_t give_up = time(NULL) + 30;
    while (g_step < 3 && !g_failed && time(NULL) < give_up) {
        if (pavo_checkmessage() == 0) {
            struct timespec pause = {0, 5 * 1000 * 1000};
            nanosleep(&pause, NULL);
        }
    }
    if (g_step < 3 && !g_failed)
        fprintf(stderr, "no answer within 30 seconds\n");
    int ok = g_step == 3;
    pavo_cleanup();
    return ok ? 0 : 1;
}
