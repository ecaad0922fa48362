/*
 * pavo_parse_catalogue.cpp - the clip list reader under a programme or
 * channel: the exported parse_videoclip and the step of the programme and
 * channel rows of the kinds table that calls it.
 */
#include <string.h>

#include "parse/pavo_parse_frame.h"
#include "xml/Markup.h"

// Exactly this sequence of moves: with the main position on a programme or
// channel, the first child element is taken as the clip container. An
// element without children makes the two OutOfElem calls climb one level
// above the caller's list, which then ends early; callers rely on the
// sequence, so it stays.
tpavo_videoclip* parse_videoclip(CMarkup& xml)
{
    xml.IntoElem();
    xml.FindChildElem("VideoClips");
    xml.IntoElem();
    void* head = pavo_read_entries(xml, pavo_kind_of(DATATYPE_VIDEOCLIP)->record, nullptr);
    xml.OutOfElem();
    xml.OutOfElem();
    return static_cast<tpavo_videoclip*>(head);
}

// The clip list is read whether or not the entry had any attributes.
void pavo_read_clips(CMarkup& xml, void* record, const pavo_record_layout& layout)
{
    tpavo_videoclip* clips = parse_videoclip(xml);
    memcpy(static_cast<char*>(record) + layout.nested_offset, &clips, sizeof clips);
}
