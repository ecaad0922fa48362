/*
 * chunk_fuzz.cpp - libFuzzer target over the pipeline's chunk receiver: an
 * answer is handed to chunkdata_callback in pieces whose sizes come from the
 * input's tail, under an answer cap or none; the assembled buffer is checked
 * against the pieces (or found dropped past the cap), and parsed as the
 * pipeline would.
 */
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "pavo.h"
#include "service/pavo_global.h"
#include "service/pavo_upload.h"

namespace {

constexpr tpavo_datatype kDatatypes[] = {DATATYPE_OPENRESULT,       DATATYPE_LOGINRESULT,
                                         DATATYPE_CATEGORYLIST,     DATATYPE_ITEMLIST,
                                         DATATYPE_SCHEDULELIST,     DATATYPE_QUERYPLAYURLRESULT,
                                         DATATYPE_EXTSERVICERESULT, DATATYPE_UPGRADEOSRESULT};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    if (std::freopen("/dev/null", "w", stdout) == nullptr)
        return 1;
    pavo_setlogmode(1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const tpavo_datatype datatype =
        kDatatypes[data[0] % (sizeof kDatatypes / sizeof kDatatypes[0])];
    FuzzedDataProvider input(data + 1, size - 1);
    MemoryStruct chunk = {};
    chunk.limit = input.ConsumeBool() ? input.ConsumeIntegralInRange<uint32_t>(1, 4096) : 0;
    std::string expected;
    while (input.remaining_bytes() > 0) {
        // Piece sizes are taken from the tail, the bytes from the front.
        const size_t wanted = input.ConsumeIntegralInRange<size_t>(0, 300);
        const bool as_members = input.ConsumeBool();
        std::vector<char> piece = input.ConsumeBytes<char>(wanted);
        // libcurl hands size 1 and a count; the receiver must not care which way round.
        const size_t taken = as_members
                                 ? chunkdata_callback(piece.data(), 1, piece.size(), &chunk)
                                 : chunkdata_callback(piece.data(), piece.size(), 1, &chunk);
        if (chunk.limit != 0 && expected.size() + piece.size() > chunk.limit) {
            // Past the cap: nothing kept, and the short count ends the transfer.
            if (taken != 0 || chunk.data != nullptr || chunk.size != 0)
                __builtin_trap();
            expected.clear();
            break;
        }
        if (taken != piece.size())
            __builtin_trap();
        expected.append(piece.data(), piece.size());
    }
    if (expected.size() != chunk.size ||
        (chunk.size != 0 && (std::memcmp(chunk.data, expected.data(), chunk.size) != 0 ||
                             chunk.data[chunk.size] != '\0')))
        __builtin_trap();
    tpavo_result* result =
        pavo_parse(chunk.data != nullptr ? chunk.data : "", chunk.size, datatype);
    if (result == nullptr)
        __builtin_trap();
    pavo_iner_freeresultitem(result);
    std::free(chunk.data);
    return 0;
}
