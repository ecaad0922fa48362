/*
 * pavo_parse.cpp - the parse entry: pavo_parse reads an answer as the kinds
 * table says for its datatype, and turns the kinds no answer is read as into
 * the -9000 failure result. Also _atoi64 and the test hook. Called by the
 * pipeline's answer ending, the re-login and the fleet's check for a re-login.
 */
#include <ctype.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "parse/pavo_parse_frame.h"
#include "runtime/pavo_runtime.h"

extern "C" {

// Never null unless even the failure result cannot be allocated.
tpavo_result* pavo_parse(const char* xmldata, size_t datasize, tpavo_datatype datatype)
{
    // Taken as unsigned, so negative datatypes fall beyond the table. A C
    // caller may pass any value of the enum's underlying type, but in C++
    // only 0..31 are values of tpavo_datatype: its bits are read instead.
    unsigned int index;
    static_assert(sizeof index == sizeof datatype, "the enum is an unsigned int in C");
    memcpy(&index, &datatype, sizeof index);
    const pavo_kind* kind = pavo_kind_of(index);
    if (kind == nullptr || kind->body == pavo_body::none)
        return pavo_new_failure_result();
    pavo_begin_record_budget();
    tpavo_result* result = kind->body == pavo_body::raw
                               ? pavo_copy_raw_answer(xmldata, datasize, *kind)
                               : pavo_parse_answer(xmldata, *kind);
    // A parse past "maxrecords" (deep copies included) gives up what it made.
    if (!pavo_end_record_budget() && result != nullptr) {
        if (result->freeproc != nullptr)
            result->freeproc(result);
        pavo_free(result->resultmsg);
        pavo_free(result);
        result = nullptr;
    }
    if (result == nullptr)
        return pavo_new_failure_result();
    return result;
}

void pavo_test_parse(const char* xmldata)
{
    pavo_inner_diagnostic(stdout, "begin test parse:%s\r\n", xmldata != nullptr ? xmldata : "");
}

// Overflow wraps silently in 64 bits, as the platform's clients expect.
int64_t _atoi64(const char* nptr)
{
    if (nptr == nullptr)
        return 0;
    const unsigned char* at = reinterpret_cast<const unsigned char*>(nptr);
    while (isspace(*at))
        ++at;
    unsigned char sign = *at;
    if (sign == '-' || sign == '+')
        ++at;
    uint64_t total = 0;
    while (isdigit(*at)) {
        total = total * 10 + static_cast<uint64_t>(*at - '0');
        ++at;
    }
    return static_cast<int64_t>(sign == '-' ? 0 - total : total);
}

}  // extern "C"
