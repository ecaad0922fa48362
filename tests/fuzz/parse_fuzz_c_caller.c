/*
 * parse_fuzz_c_caller.c - calls pavo_parse from C, where every int converts
 * to the datatype enum, so that parse_fuzz hands it what a C application may
 * pass (negatives, 1000) without C++'s narrower enum range on its own side.
 */
#include "pavo.h"

tpavo_result* parse_fuzz_parse_from_c(const char* xmldata, size_t datasize, int datatype);

tpavo_result* parse_fuzz_parse_from_c(const char* xmldata, size_t datasize, int datatype)
{
    return pavo_parse(xmldata, datasize, (tpavo_datatype)datatype);
}
