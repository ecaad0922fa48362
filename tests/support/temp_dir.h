// A fresh temporary directory per test, removed with its files afterwards,
// plus whole-file read and write helpers for exact-content checks.
#ifndef PAVO_TEST_TEMP_DIR_H
#define PAVO_TEST_TEMP_DIR_H

#include <string>

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& text);
bool file_exists(const std::string& path);

#endif
