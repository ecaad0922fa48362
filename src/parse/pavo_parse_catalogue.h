/*
 * pavo_parse_catalogue.h - what the catalogue answers share with the item
 * list parser: the clip list reader, the programme and channel entry
 * records (read with their clip lists), and their dump helpers. Implemented
 * in pavo_parse_catalogue.cpp; used by pavo_parse_items.cpp and tests.
 */
#ifndef PAVO_PARSE_CATALOGUE_H
#define PAVO_PARSE_CATALOGUE_H

#include "parse/pavo_parse_frame.h"

tpavo_videoclip* parse_videoclip(CMarkup& xml);

extern const pavo_record_layout pavo_program_entry;
extern const pavo_record_layout pavo_channel_entry;

void pavo_dump_program(const tpavo_program* program);
void pavo_dump_channel(const tpavo_channel* channel);

#endif
