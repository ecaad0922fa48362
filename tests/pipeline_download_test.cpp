// Downloads to a file, in both modes: the target takes the body only after status 200 and
// keeps its old content otherwise, no temporary file is left behind, strictlocal turns a file
// that cannot be created or written whole into a failure, an asynchronous download logs its
// length and file instead of its body, and memory stays flat with the file's size.
#include <dirent.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <string>
#include <thread>

#include <httplib.h>

#include "field_fixture.h"

namespace {

int g_events = 0;

int count_event(tpavo_event*)
{
    ++g_events;
    return 0;
}

size_t entries_in(const std::string& dir)
{
    size_t count = 0;
    if (DIR* listing = opendir(dir.c_str())) {
        while (dirent* entry = readdir(listing))
            count += entry->d_name[0] != '.';
        closedir(listing);
    }
    return count;
}

long peak_kb()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

class PipelineDownload : public FieldTest {
protected:
    void fault(const std::string& path, const std::string& query) const
    {
        httplib::Client(sim_->base_url()).Post(("/_control/fault?path=" + path + "&" + query).c_str());
    }
    // The status in synchronous mode; 0 once the event came in asynchronous mode.
    int download(bool async, const std::string& path, const std::string& target)
    {
        const std::string source = url(path);
        if (!async)
            return pavo_downloadresource(1, source.c_str(), target.c_str());
        g_events = 0;
        pavo_registercallback(PAVO_CALLBACK_DEFAULT, count_event);
        pavo_setfuncmode(FUNCMODE_ASYNC);
        std::thread([=] { pavo_downloadresource(1, source.c_str(), target.c_str()); }).detach();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (g_events == 0 && std::chrono::steady_clock::now() < deadline)
            if (pavo_checkmessage() == 0)
                std::this_thread::yield();
        pavo_setfuncmode(FUNCMODE_SYNC);
        return g_events == 1 ? 0 : -100;
    }
};

TEST_F(PipelineDownload, TargetChangesOnlyAfterStatus200AndNothingIsLeftBeside)
{
    struct Row {
        const char* name;
        const char* streamdownloads;
        const char* strictlocal;
        const char* fault;     // of the resource's path, or none
        const char* folder;    // of the target under the work directory ("" itself)
        long size_limit;       // RLIMIT_FSIZE, or 0
        int status;            // synchronous mode
        bool replaced;         // else the old content stays (none in a missing folder)
    } rows[] = {
        {"200", "1", "0", nullptr, "", 0, 0, true},
        {"200, in memory", "0", "0", nullptr, "", 0, 0, true},
        {"404", "1", "0", "status=404", "", 0, -1, false},
        {"503, in memory", "0", "0", "status=503", "", 0, -1, false},
        {"cut short", "1", "0", "body=cut", "", 0, -1, false},
        {"missing folder", "1", "0", nullptr, "none/", 0, 0, false},
        {"missing folder, strict", "1", "1", nullptr, "none/", 0, -1, false},
        {"short write, strict", "1", "1", nullptr, "", 64, -1, false},
        {"short write, strict, in memory", "0", "1", nullptr, "", 64, -1, false},
    };
    const std::string path = "/files/skin-2026.01.res";
    const std::string body = read_file(std::string(PAVO_SIM_DATA) + "/files" + path.substr(6));
    signal(SIGXFSZ, SIG_IGN);  // a write past the size limit fails instead
    for (bool async : {false, true}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(row.name) + (async ? " async" : " sync"));
            start({{"streamdownloads", row.streamdownloads}, {"strictlocal", row.strictlocal}});
            sim_->reset();
            if (row.fault != nullptr)
                fault(path, row.fault);
            const std::string target = dir_.file(std::string(row.folder) + "resource");
            remove(target.c_str());
            if (row.folder[0] == '\0')
                write_file(target, "old");
            const size_t entries = entries_in(dir_.path());
            rlimit unlimited{};
            getrlimit(RLIMIT_FSIZE, &unlimited);
            rlimit limit{static_cast<rlim_t>(row.size_limit), unlimited.rlim_max};
            if (row.size_limit != 0)
                setrlimit(RLIMIT_FSIZE, &limit);
            const int status = download(async, path, target);
            setrlimit(RLIMIT_FSIZE, &unlimited);
            EXPECT_EQ(status, async ? 0 : row.status);
            EXPECT_EQ(entries_in(dir_.path()), entries);  // pavo.log, korix.conf, the target
            if (row.folder[0] == '\0')
                EXPECT_EQ(read_file(target), row.replaced ? body : "old");
            else
                EXPECT_FALSE(file_exists(target));
            const bool streamed = row.streamdownloads[0] == '1';
            if (async && row.fault == nullptr && row.size_limit == 0 && row.folder[0] == '\0') {
                const std::string log = log_text();
                EXPECT_EQ(log.find(body) != std::string::npos, !streamed);
                EXPECT_EQ(log.find("pavo_globalmessagecallback response: " +
                                   std::to_string(body.size()) + " bytes to " + target + "\r\n") !=
                              std::string::npos,
                          streamed);
            }
        }
    }
}

// Before streaming a download's peak grew by the file's size (twice in asynchronous mode).
TEST_F(PipelineDownload, PeakMemoryStaysFlatWithTheFileSize)
{
    constexpr long kSmall = 1000000, kLarge = 64000000;
    fault("/files/small", "body=fill&size=" + std::to_string(kSmall));
    fault("/files/large", "body=fill&size=" + std::to_string(kLarge));
    const std::string target = dir_.file("large");
    for (bool async : {false, true}) {
        SCOPED_TRACE(async ? "async" : "sync");
        const long before = peak_kb();
        ASSERT_EQ(download(async, "/files/small", target), 0);
        const long small = peak_kb();
        ASSERT_EQ(download(async, "/files/large", target), 0);
        // A sixteenth of the file: room for libcurl's and the allocator's own noise.
        EXPECT_LT(peak_kb() - small, kLarge / 1024 / 16) << "1 MB download grew it by "
                                                          << small - before << " KB";
        struct stat file {};
        EXPECT_EQ(stat(target.c_str(), &file) == 0 ? file.st_size : 0, kLarge);
    }
}

}  // namespace
