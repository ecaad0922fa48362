/*
 * pavo_inifile.h - reader and writer of the INI-style profile file behind
 * korix.conf. Whole-file, fixed 64 KiB buffers, prefix matching of sections
 * and keys (kept: old configuration files rely on it); a whole-file writer
 * that refuses what it cannot write whole.
 */
#ifndef PAVO_INIFILE_H
#define PAVO_INIFILE_H

/* Bytes of a file that are read: one byte of the 64 KiB buffer stays for the NUL. */
#define PAVO_INI_TEXT_LIMIT (1024 * 64 - 1)

/* How a load went: no file; every byte read; the text ended at a 0xFF byte
 * before the end of the file; the file goes on past PAVO_INI_TEXT_LIMIT. */
enum { PAVO_INI_MISSING = 0, PAVO_INI_WHOLE, PAVO_INI_PARTIAL, PAVO_INI_OVERSIZE };

#ifdef __cplusplus
extern "C" {
#endif

int read_profile_string(const char* section, const char* key, char* value, int size,
                        const char* default_value, const char* file);
int read_profile_int(const char* section, const char* key, int default_value, const char* file);
int write_profile_string(const char* section, const char* key, const char* value,
                         const char* file);

/* Internals, exported like every function of the library. */
int load_ini_file(const char* file, char* buf, int* file_size);
int parse_file(const char* section, const char* key, const char* buf, int* sec_s, int* sec_e,
               int* key_s, int* key_e, int* value_s, int* value_e);

/* Loads file into buf (PAVO_INI_TEXT_LIMIT + 1 bytes), NUL-terminated, in
 * bounded pieces; returns a PAVO_INI_ state. */
int pavo_inner_loadini(const char* file, char* buf, int* file_size);
/* The PAVO_INI_ state of a load of file. */
int pavo_inner_inifilestate(const char* file);
/* The text of a write of key=value into the loaded text buf, built in out
 * (PAVO_INI_TEXT_LIMIT + 1 bytes); 0 when it had to be cut to fit. */
int pavo_inner_rebuildini(const char* section, const char* key, const char* value,
                          const char* buf, int file_size, char* out, int* out_size);
/* 1 when value can stand after "key=" on one line of the file. */
int pavo_inner_inivaluefits(const char* value);
/* write_profile_string that changes nothing unless the whole entry fits: no
 * line break, 0xFF byte, "=" in the key, "]" in the section, no file that
 * was read only in part, no text past the buffer; the new file replaces the
 * old by rename. 1 written, 0 refused, -1 the file could not be written. */
int pavo_inner_writeprofile_whole(const char* section, const char* key, const char* value,
                                  const char* file);

#ifdef __cplusplus
}
#endif

#endif
