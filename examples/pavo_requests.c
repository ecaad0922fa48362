/*
 * pavo_requests.c - one short, complete synchronous call of every request,
 * as the manual page of each request shows it in its EXAMPLE section (the
 * pages take these snippets by name). Compiled with the examples, so a page
 * never shows a call that does not build. Each assumes pavo_init() with the
 * application profile and the state the request needs.
 */
#include <stdio.h>

#include <pavo.h>

/* The calling thread's result of the request just made, or NULL (with one
 * line on stderr) when it failed or the platform refused it. */
static tpavo_result* answer(const char* what, pavo_status_t status)
{
    tpavo_result* result = pavo_getresult();
    if (status == PAVO_STATUS_SUCCESS && result != NULL && result->resultcode >= 0)
        return result;
    fprintf(stderr, "%s: %s\n", what,
            status != PAVO_STATUS_SUCCESS                 ? pavo_getlasterrortext()
            : result != NULL && result->resultmsg != NULL ? result->resultmsg
                                                          : "refused");
    pavo_freeresult(result);
    return NULL;
}

int example_open(void)
{
    //! [pavo_open]
    char tvid[64];
    pavo_readprop("tvid", tvid, sizeof tvid);
    tpavo_result* r = answer("open", pavo_open(1, OPENMODE_STBCODE, tvid, NULL));
    if (r == NULL)
        return -1;
    printf("account %s\n", r->data.openresponse->userid);
    pavo_freeresult(r);
    //! [pavo_open]
    return 0;
}

int example_login(void)
{
    //! [pavo_login]
    tpavo_result* r = answer("login", pavo_login(2));
    if (r == NULL)
        return -1;
    printf("logged in as %s\n", r->data.loginresponse->userid);
    pavo_freeresult(r);
    //! [pavo_login]
    return 0;
}

int example_logout(void)
{
    //! [pavo_logout]
    tpavo_result* r = answer("logout", pavo_logout(3));
    if (r == NULL)
        return -1;
    pavo_freeresult(r);
    //! [pavo_logout]
    return 0;
}

int example_recharge(void)
{
    //! [pavo_recharge]
    tpavo_result* r = answer("recharge", pavo_recharge(4, 1, "8860000000001001"));
    if (r == NULL)
        return -1;
    printf("valid until %s\n", r->data.rechargeresponse->actexpireddate);
    pavo_freeresult(r);
    //! [pavo_recharge]
    return 0;
}

int example_querycategorylist(void)
{
    //! [pavo_querycategorylist]
    tpavo_result* r = answer("categories", pavo_querycategorylist(5, "", 1, 20));
    if (r == NULL)
        return -1;
    for (const tpavo_category* c = r->data.categorylistresponse; c != NULL; c = c->next)
        printf("%s %s\n", c->code, c->name ? c->name : "");
    pavo_freeresult(r);
    //! [pavo_querycategorylist]
    return 0;
}

int example_querycategoryitemlist(void)
{
    //! [pavo_querycategoryitemlist]
    tpavo_result* r = answer("items", pavo_querycategoryitemlist(6, "C0101", 1, 20, 0));
    if (r == NULL)
        return -1;
    for (const tpavo_item* i = r->data.itemlistresponse; i != NULL; i = i->next)
        printf("%s %s\n", i->code, i->name ? i->name : "");
    pavo_freeresult(r);
    //! [pavo_querycategoryitemlist]
    return 0;
}

int example_queryrelateitemlist(void)
{
    //! [pavo_queryrelateitemlist]
    tpavo_result* r = answer("related", pavo_queryrelateitemlist(7, 1, "P1001", 0, 0, 1, 20));
    if (r == NULL)
        return -1;
    for (const tpavo_item* i = r->data.itemlistresponse; i != NULL; i = i->next)
        printf("%s %s\n", i->code, i->name ? i->name : "");
    pavo_freeresult(r);
    //! [pavo_queryrelateitemlist]
    return 0;
}

int example_queryitemdetail(void)
{
    //! [pavo_queryitemdetail]
    tpavo_result* r =
        answer("detail", pavo_queryitemdetail(8, "C0101", PAVO_ITEMTYPE_PROGRAM, "P1001"));
    if (r == NULL)
        return -1;
    printf("%s\n", r->data.itemdetailresponse->name ? r->data.itemdetailresponse->name : "");
    pavo_freeresult(r);
    //! [pavo_queryitemdetail]
    return 0;
}

int example_queryschedulelist(void)
{
    //! [pavo_queryschedulelist]
    tpavo_result* r = answer("schedules", pavo_queryschedulelist(9, "CH01", "2026-01-02 00:00:00",
                                                                 "2026-01-03 00:00:00", 1, 50));
    if (r == NULL)
        return -1;
    for (const tpavo_schedule* s = r->data.schedulelistresponse; s != NULL; s = s->next)
        printf("%s %s\n", s->starttime ? s->starttime : "", s->name ? s->name : "");
    pavo_freeresult(r);
    //! [pavo_queryschedulelist]
    return 0;
}

int example_queryplayurl(void)
{
    //! [pavo_queryplayurl]
    tpavo_result* r =
        answer("play", pavo_queryplayurl(10, "C0101", PAVO_ITEMTYPE_PROGRAM, "P1001", "V1",
                                         SERVICETYPE_ONLINEPLAY, "", ""));
    if (r == NULL)
        return -1;
    printf("play %s\n", r->data.playresponse->playurl);
    pavo_freeresult(r);
    //! [pavo_queryplayurl]
    return 0;
}

int example_queryextendservice(void)
{
    //! [pavo_queryextendservice]
    tpavo_result* r = answer("service", pavo_queryextendservice(11, "WEATHER", "city=1"));
    if (r == NULL)
        return -1;
    printf("%.*s\n", (int)r->datasize,
           r->data.extserviceresponse ? r->data.extserviceresponse : "");
    pavo_freeresult(r);
    //! [pavo_queryextendservice]
    return 0;
}

int example_upgradeos(void)
{
    //! [pavo_upgradeos]
    tpavo_result* r = answer("upgrade", pavo_upgradeos(12));
    if (r == NULL)
        return -1;
    printf("offered %s at %s\n", r->data.upgradeosresponse->lastedversion,
           r->data.upgradeosresponse->fileurl);
    pavo_freeresult(r);
    //! [pavo_upgradeos]
    return 0;
}

int example_upgraderes(void)
{
    //! [pavo_upgraderes]
    tpavo_result* r = answer("resources", pavo_upgraderes(13));
    if (r == NULL)
        return -1;
    printf("offered %s at %s\n", r->data.upgraderesresponse->lastedversion,
           r->data.upgraderesresponse->fileurl);
    pavo_freeresult(r);
    //! [pavo_upgraderes]
    return 0;
}

int example_statusreport(void)
{
    //! [pavo_statusreport]
    /* The answer is not parsed: only the status tells. */
    if (pavo_statusreport(14) != PAVO_STATUS_SUCCESS) {
        fprintf(stderr, "report: %s\n", pavo_getlasterrortext());
        return -1;
    }
    //! [pavo_statusreport]
    return 0;
}

int example_downloadresource(const char* url)
{
    //! [pavo_downloadresource]
    tpavo_result* r = answer("download", pavo_downloadresource(15, url, "/tmp/update.bin"));
    if (r == NULL)
        return -1;
    printf("HTTP %ld\n", r->httpretcode);
    pavo_freeresult(r);
    //! [pavo_downloadresource]
    return 0;
}
