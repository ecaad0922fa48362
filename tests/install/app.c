/* A tiny C application built against the installed package. */
#include <pavo.h>
#include <stdio.h>

int main(void)
{
    if (pavo_getstate() != PAVO_STATE_NONE || pavo_mplayer_additem("x") != -1)
        return 1;
    puts("installed libpavo answers");
    return 0;
}
