/*
 * pavo_sync.c - the smallest complete synchronous application: start the
 * library with the application profile, open the account bound to this
 * terminal (or find it already open), log in, list the top-level categories,
 * shut down. A failure exits 1 with one line on stderr.
 * usage: pavo-sync WORKDIR, where WORKDIR/korix.conf names the platform
 * ([system] openurl=...).
 */
#include <stdio.h>

#include <pavo.h>

/* The calling thread's answer to the request just made, or NULL (with a
 * message) when it failed or the platform refused it. */
static tpavo_result* answer(const char* what, pavo_status_t status)
{
    if (status != PAVO_STATUS_SUCCESS) {
        /* With the profile a failed transfer leaves a result too. */
        pavo_freeresult(pavo_getresult());
        fprintf(stderr, "%s: %s\n", what, pavo_getlasterrortext());
        return NULL;
    }
    tpavo_result* result = pavo_getresult();
    if (result == NULL || result->resultcode < 0) {
        fprintf(stderr, "%s refused: %d %s\n", what, result ? result->resultcode : 0,
                result && result->resultmsg ? result->resultmsg : "");
        pavo_freeresult(result);
        return NULL;
    }
    return result;
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
    identity.clientprofile = "SYNCDEMO/1.0";
    identity.workdirectory = identity.perpetualdirectory = identity.tmpdirectory = argv[1];
    identity.ipversion = 4;
    /* Quiet, no secret in the log, every failure a failure with a reason. */
    pavo_setprofile("application");
    if (pavo_init(&identity) != PAVO_STATUS_SUCCESS) {
        fprintf(stderr, "pavo_init: %s\n", pavo_getlasterrortext());
        return 1;
    }

    int ok = 0;
    /* An account opened by an earlier run is stored in korix.conf. */
    if (pavo_query_status() != PAVO_STATUS_SUCCESS) {
        char tvid[64];
        pavo_readprop("tvid", tvid, sizeof tvid);
        tpavo_result* opened = answer("open", pavo_open(1, OPENMODE_STBCODE, tvid, NULL));
        pavo_freeresult(opened);
        if (opened == NULL)
            goto done;
    }
    tpavo_result* login = answer("login", pavo_login(2));
    if (login == NULL)
        goto done;
    printf("logged in as %s\n", login->data.loginresponse->userid);
    pavo_freeresult(login);

    tpavo_result* list = answer("categories", pavo_querycategorylist(3, "", 1, 20));
    if (list == NULL)
        goto done;
    for (const tpavo_category* c = list->data.categorylistresponse; c != NULL; c = c->next)
        printf("category %s %s\n", c->code, c->name ? c->name : "");
    pavo_freeresult(list);
    ok = 1;
done:
    pavo_cleanup();
    return ok ? 0 : 1;
}
