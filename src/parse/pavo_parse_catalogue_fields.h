/*
 * pavo_parse_catalogue_fields.h - the field tables of the catalogue records
 * (category, schedule, clip, programme, channel): what each answer element
 * fills, what a copy carries and what a dump prints. Shared by the parsers in
 * pavo_parse_catalogue.cpp and the record operations in
 * pavo_parse_catalogue_records.cpp.
 */
#ifndef PAVO_PARSE_CATALOGUE_FIELDS_H
#define PAVO_PARSE_CATALOGUE_FIELDS_H

#include <stddef.h>

#include "parse/pavo_parse_frame.h"

inline constexpr pavo_field kCategoryFields[] = {
    PAVO_FIELD(tpavo_category, "Code", code, text),
    PAVO_FIELD(tpavo_category, "ParentCode", parentcode, text),
    PAVO_FIELD(tpavo_category, "Name", name, text),
    PAVO_FIELD(tpavo_category, "Desc", desc, text),
    PAVO_FIELD(tpavo_category, "Icon1", icon1, text),
    PAVO_FIELD(tpavo_category, "Icon2", icon2, text),
    PAVO_FIELD(tpavo_category, "BKImage1", bgimage1, text),
    PAVO_FIELD(tpavo_category, "BKImage2", bgimage2, text),
    PAVO_FIELD(tpavo_category, "HasChild", haschild, flag),
    PAVO_FIELD(tpavo_category, "Type", type, integer),
    PAVO_FIELD(tpavo_category, "TemplateCode", templatecode, text),
};

inline constexpr pavo_field kCategoryDump[] = {
    PAVO_FIELD(tpavo_category, nullptr, code, text),
    PAVO_FIELD(tpavo_category, nullptr, parentcode, text),
    PAVO_FIELD(tpavo_category, nullptr, name, text),
    PAVO_FIELD(tpavo_category, nullptr, desc, text),
    PAVO_FIELD(tpavo_category, nullptr, icon1, text),
    PAVO_FIELD(tpavo_category, nullptr, icon2, text),
    PAVO_FIELD(tpavo_category, nullptr, bgimage1, text),
    PAVO_FIELD(tpavo_category, nullptr, bgimage2, text),
    PAVO_FIELD(tpavo_category, nullptr, templatecode, text),
    PAVO_FIELD(tpavo_category, nullptr, type, integer),
    PAVO_FIELD(tpavo_category, nullptr, haschild, flag),
};

inline constexpr pavo_field kScheduleFields[] = {
    PAVO_FIELD(tpavo_schedule, "Name", name, text),
    PAVO_FIELD(tpavo_schedule, "ChannelCode", channelcode, text),
    PAVO_FIELD(tpavo_schedule, "Desc", desc, text),
    PAVO_FIELD(tpavo_schedule, "StartTime", starttime, text),
    PAVO_FIELD(tpavo_schedule, "EndTime", endtime, text),
};

// "AudioType" is read twice, into both audio fields; clients compare them.
inline constexpr pavo_field kClipFields[] = {
    PAVO_FIELD(tpavo_videoclip, "Type", type, integer),
    PAVO_FIELD(tpavo_videoclip, "VideoCode", videocode, text),
    PAVO_FIELD(tpavo_videoclip, "EpisodeIndex", episodeindex, integer),
    PAVO_FIELD(tpavo_videoclip, "OrderCode", ordercode, integer),
    PAVO_FIELD(tpavo_videoclip, "Price", price, integer),
    PAVO_FIELD(tpavo_videoclip, "FileSize", filesize, int64),
    PAVO_FIELD(tpavo_videoclip, "Duration", duration, text),
    PAVO_FIELD(tpavo_videoclip, "AudioType", audiofieldtype, integer),
    PAVO_FIELD(tpavo_videoclip, "IsDRM", isdrm, flag),
    PAVO_FIELD(tpavo_videoclip, "CanDownload", candownload, flag),
    PAVO_FIELD(tpavo_videoclip, "CanOnlinePlay", canonlineplay, flag),
    PAVO_FIELD(tpavo_videoclip, "ScreenFormat", screenformat, integer),
    PAVO_FIELD(tpavo_videoclip, "Captioning", captioning, integer),
    PAVO_FIELD(tpavo_videoclip, "BitRateType", bitratetype, integer),
    PAVO_FIELD(tpavo_videoclip, "VideoType", videotype, integer),
    PAVO_FIELD(tpavo_videoclip, "AudioType", audiotype, integer),
    PAVO_FIELD(tpavo_videoclip, "Resolution", resolution, integer),
};

// What a clip copy carries, and so what a clip owns. bitratetype is left
// out of copies on purpose: copied clips report 0.
inline constexpr pavo_field kClipCopyFields[] = {
    PAVO_FIELD(tpavo_videoclip, nullptr, itemtype, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, type, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, episodeindex, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, ordercode, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, price, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, filesize, int64),
    PAVO_FIELD(tpavo_videoclip, nullptr, audiofieldtype, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, captioning, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, isdrm, flag),
    PAVO_FIELD(tpavo_videoclip, nullptr, candownload, flag),
    PAVO_FIELD(tpavo_videoclip, nullptr, canonlineplay, flag),
    PAVO_FIELD(tpavo_videoclip, nullptr, screenformat, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, videotype, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, audiotype, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, resolution, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, itemcode, text),
    PAVO_FIELD(tpavo_videoclip, nullptr, videocode, text),
    PAVO_FIELD(tpavo_videoclip, nullptr, duration, text),
};

inline constexpr pavo_field kClipDump[] = {
    PAVO_FIELD(tpavo_videoclip, nullptr, itemcode, text),
    PAVO_FIELD(tpavo_videoclip, nullptr, itemtype, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, videocode, text),
    PAVO_FIELD(tpavo_videoclip, nullptr, duration, text),
};

inline constexpr pavo_field kProgramFields[] = {
    PAVO_FIELD(tpavo_program, "Code", code, text),
    PAVO_FIELD(tpavo_program, "Name", name, text),
    PAVO_FIELD(tpavo_program, "Type", type, integer),
    PAVO_FIELD(tpavo_program, "EpisodeNum", episodenum, integer),
    PAVO_FIELD(tpavo_program, "Actor", actor, text),
    PAVO_FIELD(tpavo_program, "Director", director, text),
    PAVO_FIELD(tpavo_program, "Region", region, text),
    PAVO_FIELD(tpavo_program, "Language", language, text),
    PAVO_FIELD(tpavo_program, "ProgramType", programtype, text),
    PAVO_FIELD(tpavo_program, "Keywords", keywords, text),
    PAVO_FIELD(tpavo_program, "RatingLevel", ratinglevel, text),
    PAVO_FIELD(tpavo_program, "Desc", desc, text),
    PAVO_FIELD(tpavo_program, "Status", status, integer),
    PAVO_FIELD(tpavo_program, "SmallImage1", smallimage1, text),
    PAVO_FIELD(tpavo_program, "SmallImage2", smallimage2, text),
    PAVO_FIELD(tpavo_program, "BigImage1", bigimage1, text),
    PAVO_FIELD(tpavo_program, "BigImage2", bigimage2, text),
};

inline constexpr pavo_field kProgramDump[] = {
    PAVO_FIELD(tpavo_program, nullptr, code, text),
    PAVO_FIELD(tpavo_program, nullptr, name, text),
    PAVO_FIELD(tpavo_program, nullptr, actor, text),
    PAVO_FIELD(tpavo_program, nullptr, director, text),
    PAVO_FIELD(tpavo_program, nullptr, region, text),
    PAVO_FIELD(tpavo_program, nullptr, language, text),
    PAVO_FIELD(tpavo_program, nullptr, programtype, text),
    PAVO_FIELD(tpavo_program, nullptr, keywords, text),
    PAVO_FIELD(tpavo_program, nullptr, ratinglevel, text),
    PAVO_FIELD(tpavo_program, nullptr, desc, text),
    PAVO_FIELD(tpavo_program, nullptr, smallimage1, text),
    PAVO_FIELD(tpavo_program, nullptr, smallimage2, text),
    PAVO_FIELD(tpavo_program, nullptr, bigimage1, text),
    PAVO_FIELD(tpavo_program, nullptr, bigimage2, text),
};

inline constexpr pavo_field kChannelFields[] = {
    PAVO_FIELD(tpavo_channel, "Code", code, text),
    PAVO_FIELD(tpavo_channel, "Name", name, text),
    PAVO_FIELD(tpavo_channel, "Desc", desc, text),
    PAVO_FIELD(tpavo_channel, "Icon1", icon1, text),
    PAVO_FIELD(tpavo_channel, "Icon2", icon2, text),
    PAVO_FIELD(tpavo_channel, "BKImage1", bkimage1, text),
    PAVO_FIELD(tpavo_channel, "BKImage2", bkimage2, text),
    PAVO_FIELD(tpavo_channel, "Type", type, integer),
    PAVO_FIELD(tpavo_channel, "TimeShiftDuration", timeshiftduration, integer),
};

inline constexpr pavo_field kChannelDump[] = {
    PAVO_FIELD(tpavo_channel, nullptr, code, text),
    PAVO_FIELD(tpavo_channel, nullptr, name, text),
    PAVO_FIELD(tpavo_channel, nullptr, desc, text),
    PAVO_FIELD(tpavo_channel, nullptr, icon1, text),
    PAVO_FIELD(tpavo_channel, nullptr, icon2, text),
    PAVO_FIELD(tpavo_channel, nullptr, bkimage1, text),
    PAVO_FIELD(tpavo_channel, nullptr, bkimage2, text),
};

#endif /* PAVO_PARSE_CATALOGUE_FIELDS_H */
