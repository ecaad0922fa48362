/* A tiny C application built against the installed package. */
#include <pavo.h>
#include <stdio.h>

#if PAVO_VERSION_NUM != \
    ((PAVO_VERSION_MAJOR << 16) | (PAVO_VERSION_MINOR << 8) | PAVO_VERSION_PATCH)
#error "PAVO_VERSION_NUM disagrees with its parts"
#endif

int main(void)
{
    if (pavo_getstate() != PAVO_STATE_NONE || pavo_mplayer_additem("x") != -1)
        return 1;
    printf("installed libpavo %s answers\n", PAVO_VERSION_STRING);
    return 0;
}
