// Inputs that the fuzz targets under tests/fuzz found faults with, minimised,
// replayed here in the ordinary suite. Their faults show as failures or as
// sanitizer reports under -DPAVO_SANITIZE=address,undefined.
#include <climits>
#include <string>

#include "parse_test_util.h"

// tests/fuzz/parse_fuzz_c_caller.c: the datatype reaches pavo_parse as a C int.
extern "C" tpavo_result* parse_fuzz_parse_from_c(const char* xmldata, size_t datasize,
                                                 int datatype);

namespace {

using parse_test::Result;

// A C application may pass any int as the datatype; C++ knows only 0..31 as
// values of the enum, and reading such an argument as the enum was undefined.
TEST(FuzzRegressionTest, DatatypeOutsideTheEnumFromCGivesFailureResult)
{
    const std::string answer =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root><Result ResultCode=\"0\"/></Root>";
    for (int datatype : {-1, -9000, INT_MIN, 32, 1000, INT_MAX}) {
        SCOPED_TRACE(datatype);
        Result result(parse_fuzz_parse_from_c(answer.c_str(), answer.size(), datatype));
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->resultcode, -9000);
        EXPECT_EQ(result->freeproc, nullptr);
        EXPECT_EQ(result->data.ptr, nullptr);
    }
}

}  // namespace
