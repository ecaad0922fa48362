// The public header: fixed enumerator values, int-sized enumerations, and a
// record layout that C and C++ translation units agree on.
#include <gtest/gtest.h>

#include <cstddef>

#include "pavo.h"

extern "C" {
int pavo_c_enum_size_ok(void);
size_t pavo_c_result_data_offset(void);
size_t pavo_c_event_data_offset(void);
size_t pavo_c_item_next_offset(void);
int pavo_c_event_max(void);
}

TEST(PublicHeader, CompilesAsCWithTheSameLayout)
{
    EXPECT_TRUE(pavo_c_enum_size_ok());
    EXPECT_EQ(pavo_c_result_data_offset(), offsetof(tpavo_result, data));
    EXPECT_EQ(pavo_c_event_data_offset(), offsetof(tpavo_event, data));
    EXPECT_EQ(pavo_c_item_next_offset(), offsetof(tpavo_item, next));
    EXPECT_EQ(pavo_c_event_max(), 46);
}

TEST(PublicHeader, EnumeratorsKeepTheirDocumentedValues)
{
    // An enumerator dropped or inserted anywhere shifts one of these.
    const int values[][2] = {{EPAVO_EVENT_BEGIN, -1},
                             {EPAVO_OPEN, 4},
                             {EPAVO_CLEANUP, 17},
                             {EPAOV_DATA_TIMEOUT, 34},
                             {EPAVO_QUIT, 45},
                             {PAVO_HTTPE_GOT_NOTHING, 52},
                             {PAVO_HTTPE_LAST, 84},
                             {DATATYPE_STATUSREPORTRESULT, 23},
                             {PAVO_STATUS_FAILURE_ALREADYINITED, -5},
                             {PLAYERTYPE_EMBEDED, 2},
                             {PAVO_CALLBACK_EXCEPTION, 7}};
    for (const auto& v : values)
        EXPECT_EQ(v[0], v[1]);
}
