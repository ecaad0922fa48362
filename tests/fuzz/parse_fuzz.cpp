/*
 * parse_fuzz.cpp - libFuzzer target over the answer parsers and the XML
 * navigator beneath them. The first byte picks the datatype, the rest is the
 * platform's answer: it is parsed, printed, its details copied and freed as
 * the result store would, and then walked with CMarkup directly.
 */
#include <fuzzer/FuzzedDataProvider.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "pavo.h"
#include "service/pavo_global.h"
#include "xml/Markup.h"

// In parse_fuzz_c_caller.c: the datatype reaches pavo_parse as a C int would.
extern "C" tpavo_result* parse_fuzz_parse_from_c(const char* xmldata, size_t datasize,
                                                 int datatype);

namespace {

// 0 to 24 are the datatypes and their neighbours; the rest fall outside the
// dispatch table from below and above.
constexpr int kDatatypes[] = {0,  1,  2,  3,  4,  5,  6,  7,     8,       9,
                              10, 11, 12, 13, 14, 15, 16, 17,    18,      19,
                              20, 21, 22, 23, 24, -1, -2, -9000, INT_MIN, 1000};
constexpr size_t kDatatypeCount = sizeof kDatatypes / sizeof kDatatypes[0];

// The parsers' own names, their near misses and the path forms the finders
// accept or refuse.
const char* const kElementNames[] = {nullptr,
                                     "",
                                     "Root",
                                     "Result",
                                     "Response",
                                     "Categorys",
                                     "Category",
                                     "Programee",
                                     "Item",
                                     "Programs",
                                     "Program",
                                     "Channels",
                                     "Channel",
                                     "VideoClips",
                                     "VideoClip",
                                     "Schedules",
                                     "Schedule",
                                     "UserToken",
                                     "SystemTime",
                                     "Res",
                                     "root",
                                     "Result[1]",
                                     "Item[@Code='P1001']",
                                     "Item[@Code]",
                                     "Root/Result",
                                     "/Root",
                                     "//Item",
                                     "a[",
                                     "a]",
                                     "a[x]",
                                     "[1]",
                                     "Item[@='x']"};
constexpr size_t kElementNameCount = sizeof kElementNames / sizeof kElementNames[0];

const char* const kAttribNames[] = {
    nullptr,    "",     "ResultCode", "ResultMsg", "Code",    "Type", "TotalCount", "Count",
    "FileSize", "Name", "code",       "Code=",     "Code[1]", "a",    "tagname",    "version"};
constexpr size_t kAttribNameCount = sizeof kAttribNames / sizeof kAttribNames[0];

constexpr int kMaxWalkSteps = 64;

// What an application does with an item list: copies of the details it keeps.
void copy_item_details(const tpavo_result* result)
{
    if (result->datatype != DATATYPE_ITEMLIST && result->datatype != DATATYPE_ITEM &&
        result->datatype != DATATYPE_RELATIVEITEMLIST)
        return;
    for (tpavo_item* item = result->data.itemlistresponse; item != nullptr; item = item->next) {
        if (item->type == PAVO_ITEMTYPE_PROGRAM)
            free_program(dup_program(item->detail.program));
        else if (item->type == PAVO_ITEMTYPE_CHANNEL)
            free_channel(dup_channel(item->detail.channel));
    }
}

void parse_answer(const std::string& answer, int datatype)
{
    tpavo_result* result = parse_fuzz_parse_from_c(answer.c_str(), answer.size(), datatype);
    if (result == nullptr)
        __builtin_trap();  // pavo_parse never returns null while memory lasts
    pavo_dumpresult(result);
    copy_item_details(result);
    pavo_iner_freeresultitem(result);
}

// The walk's steps are read from the end of the answer, so the front of a
// realistic seed stays the document and its tail steers the cursor.
void walk_document(const std::string& answer, FuzzedDataProvider& steps)
{
    CMarkup xml;
    // The file modes (16, 32) only make the navigator refuse work: chosen
    // when the two top bits are set too.
    const uint8_t flags = steps.ConsumeIntegral<uint8_t>();
    const int file_modes = (flags & 0xc0) == 0xc0 ? (flags & 0x30) : 0;
    xml.SetDocFlags((flags & CMarkup::MDF_IGNORECASE) | file_modes);
    xml.SetDoc(answer);
    xml.IsWellFormed();
    xml.GetError();
    for (int i = 0; i < kMaxWalkSteps && steps.remaining_bytes() > 0; ++i) {
        const uint8_t step = steps.ConsumeIntegral<uint8_t>();
        const uint8_t name = steps.ConsumeIntegral<uint8_t>();
        const char* element = kElementNames[name % kElementNameCount];
        const char* attrib = kAttribNames[name % kAttribNameCount];
        switch (step % 16) {
        case 0:
            xml.FindElem(element);
            break;
        case 1:
            xml.FindChildElem(element);
            break;
        case 2:
            xml.IntoElem();
            break;
        case 3:
            xml.OutOfElem();
            break;
        case 4:
            xml.GetData();
            break;
        case 5:
            xml.GetChildData();
            break;
        case 6:
            xml.GetAttrib(attrib);
            break;
        case 7:
            xml.GetChildAttrib(attrib);
            break;
        case 8:
            xml.ResetMainPos();
            break;
        case 9:
            xml.ResetChildPos();
            break;
        case 10:
            xml.ResetPos();
            break;
        case 11:
            xml.GetTagName();
            break;
        case 12:
            xml.FindElem();
            break;
        case 13:
            xml.FindChildElem();
            break;
        case 14:
            xml.SetDoc(answer);
            break;
        case 15:
            xml.SetDoc(nullptr);
            break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // The dumps print through the information log: keep them, but not on a
    // terminal, where they would cost more than the parsing.
    if (std::freopen("/dev/null", "w", stdout) == nullptr)
        return 1;
    pavo_setlogmode(1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const int datatype = kDatatypes[data[0] % kDatatypeCount];
    // A NUL-terminated copy, as the request pipeline hands answers over.
    const std::string answer(reinterpret_cast<const char*>(data + 1), size - 1);
    parse_answer(answer, datatype);

    CMarkup::UnescapeText(answer.c_str());
    CMarkup::UnescapeText(answer.data(), static_cast<int>(answer.size()));  // zero bytes too
    FuzzedDataProvider steps(data + 1, size - 1);
    walk_document(answer, steps);
    return 0;
}
