/*
 * pavo_mplayer.cpp - the media-player entry points. Applications link
 * against them, but the player lives elsewhere on the terminal: each call
 * answers at once, 0, except additem, which reports -1.
 */
#include "pavo.h"

extern "C" {

pavo_playertype pavo_getmplayertypefromurl(const char*) { return PLAYERTYPE_DEFAULT; }
int pavo_initmplayer(pavo_playertype, pavo_mplayer_handler) { return 0; }
int pavo_mplayer_additem(const char*) { return -1; }
int pavo_mplayer_removeitem(const char*) { return 0; }
int pavo_mplayer_clearitem(void) { return 0; }
int pavo_mplayer_action(int) { return 0; }
int pavo_mplayer_setprop(const char*, const char*) { return 0; }
int pavo_mplayer_getprop(const char*, char*, int) { return 0; }
int pavo_mplayer_play(void) { return 0; }
int pavo_mplayer_stop(void) { return 0; }
int pavo_mplayer_pause(void) { return 0; }
int pavo_mplayer_forward(int) { return 0; }
int pavo_mplayer_backward(int) { return 0; }
int pavo_mplayer_seek(int) { return 0; }
int pavo_mplayer_info(void) { return 0; }
int pavo_mplayer_close(void) { return 0; }
}
