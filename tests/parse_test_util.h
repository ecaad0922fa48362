// Shared by the parse tests: owning a parsed result, capturing what the
// information log prints, building the expected console text, and showing
// list counters and a clip's numeric fields on one line.
#ifndef PARSE_TEST_UTIL_H
#define PARSE_TEST_UTIL_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>

#include "pavo.h"

namespace parse_test {

// What the result store does when it drops a result.
inline void release_result(tpavo_result* result)
{
    if (result == nullptr)
        return;
    if (result->freeproc != nullptr)
        result->freeproc(result);
    pavo_free(result->resultmsg);
    pavo_free(result);
}

struct ResultDeleter {
    void operator()(tpavo_result* result) const { release_result(result); }
};
using Result = std::unique_ptr<tpavo_result, ResultDeleter>;

inline Result parse(const std::string& xml, tpavo_datatype datatype)
{
    return Result(pavo_parse(xml.c_str(), xml.size(), datatype));
}

// One information-log call per line, each wrapped in its colour sequences.
inline std::string info_lines(std::initializer_list<std::string> lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += "\033[1;32m" + line + "\r\n\033[0m";
    return text;
}

template <typename Call>
std::string captured_stdout(Call call)
{
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

inline std::string dump_text(pavo_data_dumpproc dump, void* argument)
{
    return captured_stdout([&] { dump(argument); });
}

// What the result's own dump procedure prints.
inline std::string dump_of(const Result& result)
{
    return dump_text(result->dumpproc, result.get());
}

// The list counters of a result on one line.
inline std::string page_counts(const Result& result)
{
    return "total=" + std::to_string(result->totalcount) +
           " count=" + std::to_string(result->datacount) +
           " page=" + std::to_string(result->pageindex) +
           " size=" + std::to_string(result->pagesize);
}

// Every non-text field of a clip in record order, so one comparison shows
// what was read or copied into each.
inline std::string clip_numbers(const tpavo_videoclip& clip)
{
    std::ostringstream text;
    text << "itemtype=" << clip.itemtype << " type=" << clip.type
         << " episodeindex=" << clip.episodeindex << " ordercode=" << clip.ordercode
         << " price=" << clip.price << " filesize=" << clip.filesize
         << " audiofieldtype=" << clip.audiofieldtype << " captioning=" << clip.captioning
         << " isdrm=" << int(clip.isdrm) << " candownload=" << int(clip.candownload)
         << " canonlineplay=" << int(clip.canonlineplay) << " screenformat=" << clip.screenformat
         << " bitratetype=" << clip.bitratetype << " videotype=" << clip.videotype
         << " audiotype=" << clip.audiotype << " resolution=" << clip.resolution;
    return text.str();
}

// The information log reaches the console only in log mode 1.
class ParseTest : public ::testing::Test {
protected:
    void SetUp() override { pavo_setlogmode(1); }
};

}  // namespace parse_test

#endif
