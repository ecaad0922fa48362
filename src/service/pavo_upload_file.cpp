/*
 * pavo_upload_file.cpp - a download's body on disk: written to
 * "<target>.<pid>.<n>.part" as it arrives, so memory stays flat whatever the
 * file's size, and put in place by one rename.
 */
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

#include "service/pavo_global.h"
#include "service/pavo_upload_file.h"

namespace {

std::atomic<unsigned> g_temporary_serial{0};

// A name already taken (a download of another process or thread) is skipped.
constexpr int kNameAttempts = 16;

bool write_all(int fd, const char* bytes, size_t length)
{
    while (length > 0) {
        ssize_t done = ::write(fd, bytes, length);
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
        bytes += done;
        length -= static_cast<size_t>(done);
    }
    return true;
}

}  // namespace

bool DownloadFile::open(const char* target)
{
    target_ = target;
    const std::string prefix = target_ + "." + std::to_string(getpid()) + ".";
    for (int attempt = 0; attempt < kNameAttempts && fd_ < 0; ++attempt) {
        temporary_ = prefix + std::to_string(g_temporary_serial.fetch_add(1)) + ".part";
        // The mode fopen would give a new file; an existing target keeps its own.
        fd_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd_ < 0 && errno != EEXIST)
            break;
    }
    if (fd_ < 0) {
        failed_ = true;
        temporary_.clear();
        pavo_log_info("download: cannot create a file beside %s\r\n", target);
        return false;
    }
    struct stat existing;
    if (stat(target, &existing) == 0 && S_ISREG(existing.st_mode))
        fchmod(fd_, existing.st_mode & 07777);
    return true;
}

size_t DownloadFile::write(const void* bytes, size_t length)
{
    received_ += length;
    if (fd_ >= 0 && !failed_ && !write_all(fd_, static_cast<const char*>(bytes), length)) {
        failed_ = true;
        pavo_log_info("download: cannot write %s\r\n", temporary_.c_str());
    }
    return failed_ && strict_ ? 0 : length;
}

pavo_status_t DownloadFile::commit()
{
    if (fd_ < 0)
        return strict_ ? PAVO_STATUS_FAILURE : PAVO_STATUS_SUCCESS;
    bool whole = !failed_;
    whole = ::close(fd_) == 0 && whole;
    fd_ = -1;
    // Without strictlocal a short file still takes the target's place, as
    // an unchecked write always did.
    if ((whole || !strict_) && rename(temporary_.c_str(), target_.c_str()) == 0) {
        temporary_.clear();
        return PAVO_STATUS_SUCCESS;
    }
    pavo_log_info("download: cannot put %s in place\r\n", target_.c_str());
    discard();
    return strict_ ? PAVO_STATUS_FAILURE : PAVO_STATUS_SUCCESS;
}

void DownloadFile::discard()
{
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
    if (!temporary_.empty())
        unlink(temporary_.c_str());
    temporary_.clear();
}

size_t DownloadFile::receive(void* ptr, size_t size, size_t nmemb, void* file)
{
    return static_cast<DownloadFile*>(file)->write(ptr, size * nmemb);
}
