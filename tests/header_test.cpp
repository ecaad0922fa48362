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
    EXPECT_EQ(EPAVO_EVENT_BEGIN, -1);
    EXPECT_EQ(EPAVO_LOGIN, 2);
    EXPECT_EQ(EPAVO_OPEN, 4);
    EXPECT_EQ(EPAVO_RESOURCEDOWNLOAD, 13);
    EXPECT_EQ(EPAVO_STATUSREPORT, 16);
    EXPECT_EQ(EPAVO_CLEANUP, 17);
    EXPECT_EQ(EPAVO_PLAYING, 25);
    EXPECT_EQ(EPAVO_GET_MEIDA_INFO, 30);
    EXPECT_EQ(EPAOV_DATA_TIMEOUT, 34);
    EXPECT_EQ(EPAVO_NO_SREVER, 36);
    EXPECT_EQ(EPAVO_SREVER_INVALID, 38);
    EXPECT_EQ(EPAVO_CLIENT_NAME, 40);
    EXPECT_EQ(PAOV_NO_SERVICE, 42);
    EXPECT_EQ(EPAVO_OUT_OF_SREVICE, 43);
    EXPECT_EQ(EPAVO_QUIT, 45);
    EXPECT_EQ(EPAVO_EVENT_MAX, 46);
    EXPECT_EQ(PAVO_HTTPE_COULDNT_CONNECT, 7);
    EXPECT_EQ(PAVO_HTTPE_OPERATION_TIMEDOUT, 28);
    EXPECT_EQ(PAVO_HTTPE_GOT_NOTHING, 52);
    EXPECT_EQ(PAVO_HTTPE_REMOTE_FILE_NOT_FOUND, 78);
    EXPECT_EQ(PAVO_HTTPE_LAST, 84);
    EXPECT_EQ(DATATYPE_STATUSREPORTRESULT, 23);
    EXPECT_EQ(PAVO_STATUS_FAILURE_ALREADYINITED, -5);
    EXPECT_EQ(PAVO_RESERVED, 1);
    EXPECT_EQ(PLAYERTYPE_EMBEDED, 2);
    EXPECT_EQ(PAVO_CALLBACK_EXCEPTION, 7);
}

TEST(MediaPlayer, EveryEntryAnswersZeroExceptAddItem)
{
    EXPECT_EQ(pavo_getmplayertypefromurl("rtsp://x"), PLAYERTYPE_DEFAULT);
    EXPECT_EQ(pavo_initmplayer(PLAYERTYPE_PPS, nullptr), 0);
    EXPECT_EQ(pavo_mplayer_additem("rtsp://x"), -1);
    EXPECT_EQ(pavo_mplayer_removeitem("rtsp://x"), 0);
    EXPECT_EQ(pavo_mplayer_clearitem(), 0);
    EXPECT_EQ(pavo_mplayer_action(1), 0);
    EXPECT_EQ(pavo_mplayer_setprop("a", "b"), 0);
    EXPECT_EQ(pavo_mplayer_getprop("a", nullptr, 0), 0);
    EXPECT_EQ(pavo_mplayer_play(), 0);
    EXPECT_EQ(pavo_mplayer_stop(), 0);
    EXPECT_EQ(pavo_mplayer_pause(), 0);
    EXPECT_EQ(pavo_mplayer_forward(2), 0);
    EXPECT_EQ(pavo_mplayer_backward(2), 0);
    EXPECT_EQ(pavo_mplayer_seek(10), 0);
    EXPECT_EQ(pavo_mplayer_info(), 0);
    EXPECT_EQ(pavo_mplayer_close(), 0);
}
