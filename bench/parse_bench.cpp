// Costs a terminal pays per request besides the network: parsing a catalogue
// page into records and freeing it (beside a pugixml-based reader that fills
// and frees the same records), the login answer, enciphering an
// authenticator, form-encoding, and the pooled allocator against malloc. The
// page and its peer count their instructions too (instruction_count.h).
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "instruction_count.h"
#include "pavo.h"
#include "pugixml_reader.h"
#include "service/pavo_global.h"

namespace {

// Installs the library's memory pool the way pavo_init does, once.
void ensure_pool()
{
    if (g_pavo_env.mpool == nullptr)
        g_pavo_env.mpool = PAVO_MemPoolConstruct();
}

std::string clip(int n)
{
    return "<VideoClip Type=\"1\" VideoCode=\"V" + std::to_string(n) +
           "\" EpisodeIndex=\"1\" OrderCode=\"3\" Price=\"200\" FileSize=\"4294967297\""
           " Duration=\"01:32:00\" AudioType=\"2\" IsDRM=\"1\" CanDownload=\"0\""
           " CanOnlinePlay=\"1\" ScreenFormat=\"2\" Captioning=\"1\" BitRateType=\"3\""
           " VideoType=\"1\" Resolution=\"1080\"/>";
}

// An item list page: items that each refer to a programme with two clips.
std::string item_list_answer(int items)
{
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Root>"
        "<Result ResultCode=\"0\" ResultMsg=\"ok\"/><Programee TotalCount=\"" +
        std::to_string(items) + "\" Count=\"" + std::to_string(items) +
        "\" PageIndex=\"1\" PageSize=\"" + std::to_string(items) + "\">";
    for (int i = 0; i < items; ++i)
        text += "<Item Type=\"1\" Code=\"P" + std::to_string(i) +
                "\" ParentCode=\"C01\" Name=\"Programme &amp; friends " + std::to_string(i) +
                "\" StartTime=\"20260101\" EndTime=\"20261231\" Desc=\"A description\""
                " Icon1=\"/img/a.png\" Icon2=\"/img/b.png\" Flag=\"0\" Summary=\"Summary\"/>";
    text += "</Programee><Programs>";
    for (int i = 0; i < items; ++i)
        text += "<Program Code=\"P" + std::to_string(i) +
                "\" Name=\"Programme\" Type=\"1\" EpisodeNum=\"1\" Actor=\"A. Actor\""
                " Director=\"D. Director\" Region=\"EU\" Language=\"en\" ProgramType=\"Film\""
                " Keywords=\"k\" RatingLevel=\"PG\" Desc=\"d\" Status=\"1\""
                " SmallImage1=\"/s1\" SmallImage2=\"/s2\" BigImage1=\"/b1\" BigImage2=\"/b2\">"
                "<VideoClips>" +
                clip(2 * i) + clip(2 * i + 1) + "</VideoClips></Program>";
    text += "</Programs><Channels/></Root>";
    return text;
}

const char kLoginAnswer[] =
    "<Root><Result ResultCode=\"0\" ResultMsg=\"ok\"/><Response>"
    "<ServerAuthenticator>AB12</ServerAuthenticator><UserToken>0123456789abcdef</UserToken>"
    "<UserID>u1001</UserID><UserGroup>family</UserGroup><UserLevel>1</UserLevel>"
    "<ValidPoints>500</ValidPoints><ActExpiredDate>2027-01-01</ActExpiredDate>"
    "<AAASrvAddress>http://10.0.0.1</AAASrvAddress><AAASrvAddress2>http://10.0.0.2</"
    "AAASrvAddress2>"
    "<EpgSrvAddress>http://10.0.0.3</EpgSrvAddress><EpgSrvAddress2>http://10.0.0.4</"
    "EpgSrvAddress2>"
    "<PlaySrvAddress>http://10.0.0.5</PlaySrvAddress><PlaySrvAddress2>http://10.0.0.6</"
    "PlaySrvAddress2>"
    "<UpgradeSrvAddress>http://10.0.0.7</UpgradeSrvAddress>"
    "<UpgradeSrvAddress2>http://10.0.0.8</UpgradeSrvAddress2>"
    "<IMGSrvAddress>http://10.0.0.9</IMGSrvAddress><ServiceAddress>http://10.0.0.10</"
    "ServiceAddress>"
    "<DRMSrvAddress>http://10.0.0.11</DRMSrvAddress><DRMSrvAddress2>http://10.0.0.12</"
    "DRMSrvAddress2>"
    "<SystemTime>2026-01-02 03:04:05</SystemTime></Response></Root>";

void parse_and_free(benchmark::State& state, const std::string& text, tpavo_datatype datatype)
{
    ensure_pool();
    for (auto _ : state) {
        tpavo_result* result = pavo_parse(text.c_str(), text.size(), datatype);
        benchmark::DoNotOptimize(result);
        pavo_iner_freeresultitem(result);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(text.size()));
}

// The peer: pugixml reads the same page into the same records (pugixml_reader.h).
using namespace pugixml_reader;

constexpr Field kItemFields[] = {FIELD(tpavo_item, "Type", type, integer),
                                 FIELD(tpavo_item, "Code", code, text),
                                 FIELD(tpavo_item, "ParentCode", parentcode, text),
                                 FIELD(tpavo_item, "Name", name, text),
                                 FIELD(tpavo_item, "StartTime", starttime, text),
                                 FIELD(tpavo_item, "EndTime", endtime, text),
                                 FIELD(tpavo_item, "Desc", desc, text),
                                 FIELD(tpavo_item, "Icon1", icon1, text),
                                 FIELD(tpavo_item, "Icon2", icon2, text),
                                 FIELD(tpavo_item, "Flag", flag, integer),
                                 FIELD(tpavo_item, "Summary", summary, text)};
constexpr Field kProgramFields[] = {FIELD(tpavo_program, "Code", code, text),
                                    FIELD(tpavo_program, "Name", name, text),
                                    FIELD(tpavo_program, "Type", type, integer),
                                    FIELD(tpavo_program, "EpisodeNum", episodenum, integer),
                                    FIELD(tpavo_program, "Actor", actor, text),
                                    FIELD(tpavo_program, "Director", director, text),
                                    FIELD(tpavo_program, "Region", region, text),
                                    FIELD(tpavo_program, "Language", language, text),
                                    FIELD(tpavo_program, "ProgramType", programtype, text),
                                    FIELD(tpavo_program, "Keywords", keywords, text),
                                    FIELD(tpavo_program, "RatingLevel", ratinglevel, text),
                                    FIELD(tpavo_program, "Desc", desc, text),
                                    FIELD(tpavo_program, "Status", status, integer),
                                    FIELD(tpavo_program, "SmallImage1", smallimage1, text),
                                    FIELD(tpavo_program, "SmallImage2", smallimage2, text),
                                    FIELD(tpavo_program, "BigImage1", bigimage1, text),
                                    FIELD(tpavo_program, "BigImage2", bigimage2, text)};
constexpr Field kClipFields[] = {FIELD(tpavo_videoclip, "Type", type, integer),
                                 FIELD(tpavo_videoclip, "VideoCode", videocode, text),
                                 FIELD(tpavo_videoclip, "EpisodeIndex", episodeindex, integer),
                                 FIELD(tpavo_videoclip, "OrderCode", ordercode, integer),
                                 FIELD(tpavo_videoclip, "Price", price, integer),
                                 FIELD(tpavo_videoclip, "FileSize", filesize, int64),
                                 FIELD(tpavo_videoclip, "Duration", duration, text),
                                 FIELD(tpavo_videoclip, "AudioType", audiofieldtype, integer),
                                 FIELD(tpavo_videoclip, "IsDRM", isdrm, flag),
                                 FIELD(tpavo_videoclip, "CanDownload", candownload, flag),
                                 FIELD(tpavo_videoclip, "CanOnlinePlay", canonlineplay, flag),
                                 FIELD(tpavo_videoclip, "ScreenFormat", screenformat, integer),
                                 FIELD(tpavo_videoclip, "Captioning", captioning, integer),
                                 FIELD(tpavo_videoclip, "BitRateType", bitratetype, integer),
                                 FIELD(tpavo_videoclip, "VideoType", videotype, integer),
                                 FIELD(tpavo_videoclip, "AudioType", audiotype, integer),
                                 FIELD(tpavo_videoclip, "Resolution", resolution, integer)};

tpavo_result* pugixml_read_item_list(const std::string& text)
{
    pugi::xml_document doc;
    if (!doc.load_buffer(text.data(), text.size()))
        return nullptr;
    tpavo_result* result = new_result(doc, DATATYPE_ITEMLIST, free_categoryitemlistresult);
    const pugi::xml_node root = doc.child("Root");
    const pugi::xml_node list = root.child("Programee");
    read_paging(list, result);
    tpavo_item* items = read_list<tpavo_item>(list, "Item", kItemFields, &result->datacount);
    tpavo_program* programs = read_list<tpavo_program>(
        root.child("Programs"), "Program", kProgramFields, nullptr,
        [](pugi::xml_node node, tpavo_program* program) {
            program->pvideoclip = read_list<tpavo_videoclip>(node.child("VideoClips"),
                                                             "VideoClip", kClipFields, nullptr);
        });
    for (tpavo_item* item = items; item; item = item->next)
        for (tpavo_program* program = programs; program; program = program->next)
            if (std::strcmp(program->code, item->code) == 0) {
                item->detail.program = dup_program(program);
                break;
            }
    while (programs) {
        tpavo_program* next = programs->next;
        free_program(programs);
        programs = next;
    }
    result->data.itemlistresponse = items;
    return result;
}

// Records made: every item with its programme and both clips.
bool page_is_complete(const tpavo_result* result, int items)
{
    int complete = 0;
    for (const tpavo_item* item = result ? result->data.itemlistresponse : nullptr; item;
         item = item->next)
        if (item->name && item->detail.program && item->detail.program->pvideoclip &&
            item->detail.program->pvideoclip->next && item->detail.program->pvideoclip->videocode)
            ++complete;
    return result != nullptr && complete == items && result->datacount == items;
}

// Counted: the read and the free, not the check between them.
template <typename Read>
void read_page(benchmark::State& state, const char* name, Read read)
{
    ensure_pool();
    const int items = static_cast<int>(state.range(0));
    const std::string text = item_list_answer(items);
    InstructionCount instructions(name + ("/" + std::to_string(items)));
    for (auto _ : state) {
        instructions.Start();
        tpavo_result* result = read(text);
        instructions.Pause();
        const bool complete = page_is_complete(result, items);
        instructions.Resume();
        if (!complete) {
            instructions.Stop();
            state.SkipWithError("the page's records were not all made");
            break;
        }
        pavo_iner_freeresultitem(result);
        instructions.Stop();
    }
    instructions.Report(state, "instructions");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(text.size()));
}

void BM_ParseItemListPage(benchmark::State& state)
{
    read_page(state, "BM_ParseItemListPage", [](const std::string& text) {
        return pavo_parse(text.c_str(), text.size(), DATATYPE_ITEMLIST);
    });
}
BENCHMARK(BM_ParseItemListPage)->Arg(200);

void BM_PugixmlItemListPage(benchmark::State& state)
{
    read_page(state, "BM_PugixmlItemListPage", pugixml_read_item_list);
}
BENCHMARK(BM_PugixmlItemListPage)->Arg(200);

void BM_ParseLoginAnswer(benchmark::State& state)
{
    parse_and_free(state, kLoginAnswer, DATATYPE_LOGINRESULT);
}
BENCHMARK(BM_ParseLoginAnswer);

// The authenticator's cost without its log lines: key text and cipher of a
// typical source.
void BM_EncipherAuthenticator(benchmark::State& state)
{
    char source[] =
        "48213907$u1001$000000PAVO0000STB100V4000000SIM0000001$192.168.1.20$$"
        "20260102030405$Korix";
    char userid[] = "u1001";
    char mode[] = "2";
    static char out[8192];
    for (auto _ : state) {
        char key[41];
        pavo_sha1(userid, 5, key);
        pavo_encrypt(mode, source, static_cast<int>(sizeof source - 1), key, 40, out);
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(BM_EncipherAuthenticator);

void BM_UrlEncode(benchmark::State& state)
{
    std::string text(256, 'a');
    for (size_t i = 0; i < text.size(); i += 4)
        text[i] = ' ';
    static char out[8192];
    for (auto _ : state)
        benchmark::DoNotOptimize(pavo_urlencode(text.c_str(), out));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 256);
}
BENCHMARK(BM_UrlEncode);

void BM_PooledAllocation(benchmark::State& state)
{
    ensure_pool();
    for (auto _ : state) {
        void* block = pavo_malloc(48);
        benchmark::DoNotOptimize(block);
        pavo_free(block);
    }
}
BENCHMARK(BM_PooledAllocation);

void BM_SystemAllocation(benchmark::State& state)
{
    for (auto _ : state) {
        void* block = calloc(1, 48);
        benchmark::DoNotOptimize(block);
        free(block);
    }
}
BENCHMARK(BM_SystemAllocation);

}  // namespace
