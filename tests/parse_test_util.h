// Shared by the parse tests: owning a parsed result, capturing what the
// information log prints, and building the expected console text.
#ifndef PARSE_TEST_UTIL_H
#define PARSE_TEST_UTIL_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>

#include "pavo.h"

namespace parse_test {

// Frees a result as the result store does when it drops one.
struct ResultDeleter {
    void operator()(tpavo_result* result) const
    {
        if (result->freeproc != nullptr)
            result->freeproc(result);
        pavo_free(result->resultmsg);
        pavo_free(result);
    }
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

inline std::string dump_of(const Result& result)
{
    return captured_stdout([&] { result->dumpproc(result.get()); });
}

// The information log reaches the console only in log mode 1.
class ParseTest : public ::testing::Test {
protected:
    void SetUp() override { pavo_setlogmode(1); }
};

}  // namespace parse_test

#endif
