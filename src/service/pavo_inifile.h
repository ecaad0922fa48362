/*
 * pavo_inifile.h - reader and writer of the INI-style profile file behind
 * korix.conf. Whole-file, fixed 64 KiB buffers, prefix matching of sections
 * and keys (kept: old configuration files rely on it).
 */
#ifndef PAVO_INIFILE_H
#define PAVO_INIFILE_H

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

#ifdef __cplusplus
}
#endif

#endif
