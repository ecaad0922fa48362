// The wire against the platform simulator on 127.0.0.1: a synchronous category-list request
// through the library beside a raw libcurl POST of the same URL, body and options (fresh
// easy handle beside keepalive=0, one reused handle beside keepalive=1), taken in turns
// within one benchmark, and the whole
// example terminal session with keepalive 1 and 0 against a simulator whose new connections
// wait 20 ms. Every iteration checks its answer. Wall-clock time: the transfer is the work;
// the two sides of a request also count their own instructions (instruction_count.h).
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "instruction_count.h"
#include "pavo.h"
#include "pugixml_reader.h"
#include "service/pavo_global.h"

extern char** environ;

namespace {

// The terminal identity the simulator's data folder knows.
const char kSimTvid[] = "000000PAVO0000STB100V4000000SIM0000001";

// With two CPUs or more the simulators run on one and the benchmark on another,
// so that the two ends of a request do not trade places from run to run.
bool pin_calling_thread(int cpu)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    return sched_setaffinity(0, sizeof set, &set) == 0;
}

struct Cpus {
    int benchmark = -1;
    int simulator = -1;
    Cpus()
    {
        cpu_set_t allowed;
        if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
            return;
        for (int cpu = 0; cpu < CPU_SETSIZE && simulator < 0; ++cpu)
            if (CPU_ISSET(cpu, &allowed))
                (benchmark < 0 ? benchmark : simulator) = cpu;
    }
};

class Simulator {
public:
    explicit Simulator(std::vector<std::string> extra)
    {
        std::vector<std::string> args = {PAVO_SIM_PATH, "--port", "0", "--data", PAVO_SIM_DATA};
        args.insert(args.end(), extra.begin(), extra.end());
        std::vector<char*> argv;
        for (std::string& arg : args)
            argv.push_back(arg.data());
        argv.push_back(nullptr);
        int out[2];
        if (pipe(out) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        static const Cpus cpus;
        const bool pinned = cpus.simulator >= 0 && pin_calling_thread(cpus.simulator);
        if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0)
            pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
        if (pinned)
            pin_calling_thread(cpus.benchmark);
        close(out[1]);
        char c = 0;
        while (read(out[0], &c, 1) == 1 && c != '\n')
            base_ += c;
        close(out[0]);
    }
    ~Simulator()
    {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
    }
    const std::string& base() const { return base_; }

private:
    pid_t pid_ = -1;
    std::string base_;
};

Simulator& plain_simulator()
{
    static Simulator simulator({});
    return simulator;
}

size_t append_answer(char* data, size_t size, size_t count, void* answer)
{
    static_cast<std::string*>(answer)->append(data, size * count);
    return size * count;
}

// The library's own options, in its order.
void set_request(CURL* curl, const std::string& url, const std::string& body, std::string* answer)
{
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, 15L);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, answer);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append_answer);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
}

std::string control_get(const std::string& path)
{
    std::string answer;
    CURL* curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, (plain_simulator().base() + path).c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append_answer);
    curl_easy_perform(curl);
    curl_easy_cleanup(curl);
    return answer;
}

// The library started with `keepalive`, its account opened and logged in; kept running
// between benchmarks that share the setting. Its log goes nowhere (mode 4).
struct Library {
    std::string dir;
    int keepalive = -1;
    bool ready = false;

    bool start(int wanted)
    {
        if (keepalive == wanted)
            return ready;
        stop();
        char pattern[] = "/tmp/pavo-wire-bench-XXXXXX";
        dir = mkdtemp(pattern);
        std::ofstream(dir + "/korix.conf")
            << "[system]\nlogmode=4\nopenurl=" << plain_simulator().base()
            << "/Open\nkeepalive=" << wanted << "\n";
        std::string oem = "PAVO", type = "STB100", device = "SIM0000001";
        pavo_init_param param = {};
        param.oem_name = oem.data();
        param.terminal_type = type.data();
        param.device_id = device.data();
        param.workdirectory = dir.data();
        param.ipversion = 4;
        keepalive = wanted;
        ready = pavo_init(&param) == PAVO_STATUS_SUCCESS &&
                pavo_open(1, OPENMODE_STBCODE, kSimTvid, nullptr) == PAVO_STATUS_SUCCESS &&
                pavo_login(2) == PAVO_STATUS_SUCCESS;
        return ready;
    }
    void stop()
    {
        if (keepalive >= 0) {
            pavo_cleanup();
            std::system(("rm -rf '" + dir + "'").c_str());
        }
        keepalive = -1;
    }
    ~Library() { stop(); }
};
Library g_library;

bool category_request()
{
    if (pavo_querycategorylist(3, "", 1, 10) != PAVO_STATUS_SUCCESS)
        return false;
    tpavo_result* result = pavo_getresult();
    const bool made = result != nullptr && result->resultcode == 0 && result->datacount > 0;
    pavo_freeresult(result);
    return made;
}

// The URL and body that the library sent last, from the simulator's record.
bool last_request(std::string& url, std::string& body)
{
    const std::string record = control_get("/_control/requests");
    size_t at = 0;
    for (;;) {
        size_t line_end = record.find('\n', at);
        if (line_end == std::string::npos)
            return !url.empty();
        unsigned long path_size = 0, body_size = 0;
        if (std::sscanf(record.c_str() + at, "%*s %lu %lu", &path_size, &body_size) != 2)
            return false;
        url = plain_simulator().base() + record.substr(line_end + 1, path_size);
        body = record.substr(line_end + 1 + path_size + 1, body_size);
        at = line_end + 1 + path_size + 1 + body_size + 1;
    }
}

// One library request and one raw POST of the same URL, body and options per
// iteration, in alternating order and each timed on its own, so that the
// machine's drift touches both sides alike. keepalive 0: beside a fresh easy
// handle per POST; 1: beside one reused handle. peer_parses 1: the POST's
// answer is also read into the same records (pugixml) and freed, the work the
// library does besides the transfer.
void BM_CategoryRequestBesideRawPost(benchmark::State& state)
{
    const bool reuse = state.range(0) == 1;
    const bool peer_parses = state.range(1) == 1;
    std::string url, body;
    if (!g_library.start(static_cast<int>(state.range(0))) || !category_request() ||
        !last_request(url, body)) {
        state.SkipWithError("no request to replay");
        return;
    }
    std::string answer;
    CURL* kept = nullptr;
    if (reuse) {
        kept = curl_easy_init();
        set_request(kept, url, body, &answer);
    }
    const auto raw_post = [&] {
        answer.clear();
        CURL* curl = kept;
        if (!reuse) {
            curl = curl_easy_init();
            set_request(curl, url, body, &answer);
        }
        const CURLcode code = curl_easy_perform(curl);
        if (!reuse)
            curl_easy_cleanup(curl);
        if (code != CURLE_OK)
            return false;
        if (!peer_parses)
            return answer.find("ResultCode=\"0\"") != std::string::npos &&
                   answer.find("<Category ") != std::string::npos;
        tpavo_result* result = pugixml_reader::read_category_list(answer.data(), answer.size());
        const bool made = result != nullptr && result->resultcode == 0 && result->datacount > 0;
        pavo_iner_freeresultitem(result);
        return made;
    };
    using Clock = std::chrono::steady_clock;
    Clock::duration ours{}, peer{};
    const std::string name =
        "BM_CategoryRequestBesideRawPost/keepalive:" + std::to_string(state.range(0)) +
        "/peer_parses:" + std::to_string(state.range(1)) + "/real_time";
    InstructionCount ours_instructions(name + " ours"), peer_instructions(name + " peer");
    bool library_first = true;
    const auto timed = [&](bool library) {
        InstructionCount& instructions = library ? ours_instructions : peer_instructions;
        const Clock::time_point start = Clock::now();
        instructions.Start();
        const bool made = library ? category_request() : raw_post();
        instructions.Stop();
        (library ? ours : peer) += Clock::now() - start;
        return made;
    };
    for (auto _ : state) {
        for (bool library : {library_first, !library_first})
            if (!timed(library)) {
                state.SkipWithError(library ? "the library made no category list"
                                            : "the raw POST got no category list");
                break;
            }
        if (state.error_occurred())
            break;
        library_first = !library_first;
    }
    if (kept)
        curl_easy_cleanup(kept);
    const auto microseconds = [](Clock::duration total) {
        return std::chrono::duration<double, std::micro>(total).count();
    };
    using benchmark::Counter;
    state.counters["ours_us"] = Counter(microseconds(ours), Counter::kAvgIterations);
    state.counters["peer_us"] = Counter(microseconds(peer), Counter::kAvgIterations);
    ours_instructions.Report(state, "ours_instr");
    peer_instructions.Report(state, "peer_instr");
    // Per run, so that the median ratio pairs times taken together.
    state.counters["ratio"] = ours.count() > 0 ? microseconds(peer) / microseconds(ours) : 0;
}

// The example terminal's whole session as a process, against a simulator that delays
// every new connection by 20 ms.
void BM_ExampleSession(benchmark::State& state)
{
    static Simulator delayed({"--connect-delay", "20"});
    char pattern[] = "/tmp/pavo-wire-session-XXXXXX";
    const std::string dir = mkdtemp(pattern);
    const std::string command = std::string(PAVO_TERMINAL_PATH) + " --platform " +
                                delayed.base() + " --workdir " + dir + " > /dev/null 2>&1";
    for (auto _ : state) {
        std::ofstream(dir + "/korix.conf") << "[system]\nlogmode=2\nlogdirectory=" << dir
                                           << "\nkeepalive=" << state.range(0) << "\n";
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("the example session failed");
            break;
        }
    }
    std::system(("rm -rf '" + dir + "'").c_str());
}

}  // namespace

BENCHMARK(BM_CategoryRequestBesideRawPost)
    ->ArgNames({"keepalive", "peer_parses"})
    ->ArgsProduct({{0, 1}, {0, 1}})
    ->UseRealTime();
BENCHMARK(BM_ExampleSession)->ArgName("keepalive")->Arg(0)->Arg(1)->UseRealTime()->Iterations(4);
