/* Compiled as C99: proves the public header is plain C and reports the
 * layout facts a C application sees. */
#include "pavo.h"

#include <stddef.h>

int pavo_c_enum_size_ok(void)
{
    return sizeof(pavo_status_t) == sizeof(int) && sizeof(tpavo_eventtype) == sizeof(int) &&
           sizeof(tpavo_httpecode) == sizeof(int) && sizeof(tpavo_datatype) == sizeof(int) &&
           sizeof(pavo_callbacktype) == sizeof(int) && sizeof(tpavo_state) == sizeof(int);
}

size_t pavo_c_result_data_offset(void) { return offsetof(tpavo_result, data); }
size_t pavo_c_event_data_offset(void) { return offsetof(tpavo_event, data); }
size_t pavo_c_item_next_offset(void) { return offsetof(tpavo_item, next); }
int pavo_c_event_max(void) { return EPAVO_EVENT_MAX; }
