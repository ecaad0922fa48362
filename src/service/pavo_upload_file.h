/*
 * pavo_upload_file.h - where a download's body goes on disk: a temporary file
 * beside the target that takes the bytes as they arrive, and is renamed over
 * the target when the transfer ends with status 200, removed otherwise. The
 * target is untouched until then. Used by the pipeline's wire.
 */
#ifndef PAVO_UPLOAD_FILE_H
#define PAVO_UPLOAD_FILE_H

#include <stddef.h>

#include <string>

#include "pavo.h"

class DownloadFile {
public:
    // strict: the file must be created and written whole, or the download fails.
    explicit DownloadFile(bool strict) : strict_(strict) {}
    ~DownloadFile() { discard(); }
    DownloadFile(const DownloadFile&) = delete;
    DownloadFile& operator=(const DownloadFile&) = delete;

    // Creates the temporary file beside target; false (logged) when it cannot be.
    bool open(const char* target);
    // Takes bytes; 0 ends the transfer (strict, after a failed write).
    size_t write(const void* bytes, size_t length);
    // Bytes taken from the transfer so far.
    unsigned long long received() const { return received_; }
    // The transfer ended with status 200: the file takes the target's place.
    // Strict: -1 unless it was created, written whole and renamed.
    pavo_status_t commit();
    // The transfer failed: nothing is left behind.
    void discard();

    // libcurl's write function over a DownloadFile.
    static size_t receive(void* ptr, size_t size, size_t nmemb, void* file);

private:
    bool strict_;
    int fd_ = -1;
    bool failed_ = false;  // a write or the creation failed
    unsigned long long received_ = 0;
    std::string target_;
    std::string temporary_;
};

#endif /* PAVO_UPLOAD_FILE_H */
