/*
 * pavo_parse.cpp - the parse entry: pavo_parse chooses the answer parser by
 * datatype from a table, copies extended-service answers raw, and turns
 * unsupported kinds into the -9000 failure result. Also _atoi64 and the
 * test hook. Called by the request pipeline and the global message callback.
 */
#include <ctype.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "parse/pavo_parse_frame.h"
#include "runtime/pavo_runtime.h"

namespace {

using pavo_answer_handler = tpavo_result* (*)(const char* xmldata, size_t datasize);

template <tpavo_result* (*Parse)(const char*)>
tpavo_result* parse_text(const char* xmldata, size_t)
{
    return Parse(xmldata);
}

// Extended-service answers are handed over as they came: exactly datasize
// bytes, no terminating NUL added.
tpavo_result* copy_extservice_answer(const char* xmldata, size_t datasize)
{
    // No text behind a non-zero size: the failure result, not a wild read.
    if (xmldata == nullptr && datasize != 0)
        return nullptr;
    tpavo_result* result = static_cast<tpavo_result*>(pavo_malloc(sizeof(tpavo_result)));
    if (result == nullptr)
        return nullptr;
    result->datatype = DATATYPE_EXTSERVICERESULT;
    result->dumpproc = dump_extserviceresult;
    result->freeproc = free_extserviceresult;
    char* block = static_cast<char*>(pavo_malloc(datasize));
    if (block == nullptr && datasize != 0) {
        pavo_free(result);
        return nullptr;
    }
    if (datasize != 0)
        memcpy(block, xmldata, datasize);
    result->data.extserviceresponse = block;
    result->datasize = static_cast<uint32_t>(datasize);
    return result;
}

struct pavo_dispatch_row {
    pavo_answer_handler handle;  // null: unsupported, failure result
    bool retag;                  // datatype := the requested one afterwards
};

// Indexed by datatype. The status report (23) is deliberately not parsed.
constexpr pavo_dispatch_row kDispatch[] = {
    /* 0  NORMAL            */ {nullptr, false},
    /* 1  STRING            */ {nullptr, false},
    /* 2  OPENRESULT        */ {parse_text<pavo_parseopenresult>, false},
    /* 3  LOGINRESULT       */ {parse_text<pavo_parseloginresult>, false},
    /* 4  LOGOUTRESULT      */ {parse_text<pavo_parselogoutresult>, false},
    /* 5  RECHARGERESULT    */ {parse_text<pavo_parserechargeresult>, false},
    /* 6  QUERYPLAYURL      */ {parse_text<pavo_parseplayurlresult>, false},
    /* 7  CATEGORYLIST      */ {parse_text<pavo_parsecategorylistresult>, true},
    /* 8  CATEGORY          */ {nullptr, false},
    /* 9  ITEMLIST          */ {parse_text<pavo_parsecategoryitemlistresult>, true},
    /* 10 ITEM              */ {parse_text<pavo_parsecategoryitemlistresult>, true},
    /* 11 RELATIVEITEMLIST  */ {parse_text<pavo_parsecategoryitemlistresult>, true},
    /* 12 CHANNELLIST       */ {nullptr, false},
    /* 13 CHANNEL           */ {nullptr, false},
    /* 14 SCHEDULELIST      */ {parse_text<pavo_parseschedulelistresult>, false},
    /* 15 SCHEDULE          */ {nullptr, false},
    /* 16 PROGRAMLIST       */ {nullptr, false},
    /* 17 PROGRAM           */ {nullptr, false},
    /* 18 VIDEOCLIPLIST     */ {nullptr, false},
    /* 19 VIDEOCLIP         */ {nullptr, false},
    /* 20 EXTSERVICERESULT  */ {copy_extservice_answer, false},
    /* 21 UPGRADEOSRESULT   */ {parse_text<pavo_parseupgradeosresult>, false},
    /* 22 UPGRADERESRESULT  */ {parse_text<pavo_parseupgraderesresult>, false},
};

constexpr size_t kDispatchRows = sizeof kDispatch / sizeof kDispatch[0];
static_assert(kDispatchRows == DATATYPE_STATUSREPORTRESULT, "one row per parsed datatype");

}  // namespace

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
    if (index >= kDispatchRows || kDispatch[index].handle == nullptr)
        return pavo_new_failure_result();
    pavo_begin_record_budget();
    tpavo_result* result = kDispatch[index].handle(xmldata, datasize);
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
    if (kDispatch[index].retag)
        result->datatype = datatype;
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

void free_extserviceresult(void* result)
{
    tpavo_result* answer = static_cast<tpavo_result*>(result);
    if (answer == nullptr || answer->data.ptr == nullptr)
        return;
    pavo_free(answer->data.ptr);
    answer->data.ptr = nullptr;
}

// The copy has no terminating NUL: print exactly datasize bytes.
void dump_extserviceresult(void* result)
{
    const tpavo_result* answer = static_cast<const tpavo_result*>(result);
    if (answer == nullptr || answer->data.extserviceresponse == nullptr)
        return;
    pavo_inner_loginfo("%.*s\r\n", static_cast<int>(answer->datasize),
                       answer->data.extserviceresponse);
}

}  // extern "C"
