/*
 * crc32.cpp - CRC-32 of IEEE 802.3 in its reflected form (polynomial
 * 0xEDB88320, register inverted before and after), over buffers and already
 * opened streams. Offered to the application; nothing inside the library
 * calls it.
 */
#include "pavo.h"
#include "runtime/pavo_runtime.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr uint32_t kPolynomial = 0xEDB88320u;
constexpr size_t kFileChunk = 8192;

constexpr std::array<uint32_t, 256> make_crc_table()
{
    std::array<uint32_t, 256> table{};
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t c = n;
        for (int bit = 0; bit < 8; ++bit)
            c = (c & 1) ? (kPolynomial ^ (c >> 1)) : (c >> 1);
        table[n] = c;
    }
    return table;
}

constexpr std::array<uint32_t, 256> crcTable = make_crc_table();
static_assert(crcTable[1] == 0x77073096u && crcTable[255] == 0x2D02EF8Du,
              "reflected CRC-32 table");

/* Chains every piece of the stream through Crc32_ComputeBuf. Returns 0, or
 * -1 after a read error with the CRC of what was read in *crc. */
int crc_of_stream(FILE* stream, uint32_t* crc)
{
    unsigned char chunk[kFileChunk];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, stream)) > 0)
        *crc = static_cast<uint32_t>(Crc32_ComputeBuf(*crc, chunk, got));
    if (std::ferror(stream)) {
        pavo_inner_diagnostic(stderr, "error reading file\n");
        return -1;
    }
    return 0;
}

}  // namespace

extern "C" {

unsigned long Crc32_ComputeBuf(unsigned long inCrc32, const void* buf, size_t bufLen)
{
    if (bufLen == 0 || buf == nullptr)
        return inCrc32;
    const unsigned char* bytes = static_cast<const unsigned char*>(buf);
    uint32_t crc = static_cast<uint32_t>(inCrc32) ^ 0xFFFFFFFFu;
    for (size_t i = 0; i < bufLen; ++i)
        crc = crcTable[(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
    return crc ^ 0xFFFFFFFFu;
}

int Crc32_ComputeFile(FILE* file, unsigned long* outCrc32)
{
    if (file == nullptr || outCrc32 == nullptr)
        return -1;
    uint32_t crc = 0;
    int status = crc_of_stream(file, &crc);
    *outCrc32 = crc;
    return status;
}

int Crc32_ComputeFileRC(FILE* fp, unsigned char* crc)
{
    if (fp == nullptr || crc == nullptr)
        return -1;
    uint32_t value = 0;
    if (crc_of_stream(fp, &value) != 0) {
        // A failed read leaves the partial CRC in the machine's byte order.
        std::memcpy(crc, &value, sizeof value);
        return -1;
    }
    crc[0] = static_cast<unsigned char>(value >> 24);
    crc[1] = static_cast<unsigned char>(value >> 16);
    crc[2] = static_cast<unsigned char>(value >> 8);
    crc[3] = static_cast<unsigned char>(value);
    return 4;
}

}  // extern "C"
