// Instructions a measured region executes, printed beside its time so that a row's verdict
// does not move with the machine's load. With a CPU counter (perf_event_open: user space, this
// thread) the count is taken here and reported as a benchmark counter; without one, under
// callgrind (started with --instr-atstart=no: set-up runs uninstrumented until the first
// region), each region is dumped under its label, and tools/pavo-dev reads the dumps.
// Otherwise nothing is counted.
#ifndef PAVO_BENCH_INSTRUCTION_COUNT_H
#define PAVO_BENCH_INSTRUCTION_COUNT_H

#include <benchmark/benchmark.h>
#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#define PAVO_BENCH_CALLGRIND 1
#endif

class InstructionCount {
public:
    // label: the dump's name under callgrind ("<benchmark name>" or "<name> ours").
    explicit InstructionCount(std::string label) : label_(std::move(label))
    {
#ifdef PAVO_BENCH_CALLGRIND
        if (RUNNING_ON_VALGRIND)
            return;  // the simulated CPU has no counter; the dumps stand in
#endif
        perf_event_attr attr{};
        attr.size = sizeof attr;
        attr.type = PERF_TYPE_HARDWARE;
        attr.config = PERF_COUNT_HW_INSTRUCTIONS;
        attr.exclude_kernel = 1;
        attr.exclude_hv = 1;
        fd_ = static_cast<int>(syscall(SYS_perf_event_open, &attr, 0, -1, -1, 0));
    }
    ~InstructionCount()
    {
        if (fd_ >= 0)
            close(fd_);
    }
    InstructionCount(const InstructionCount&) = delete;
    InstructionCount& operator=(const InstructionCount&) = delete;

    void Start()
    {
        if (fd_ >= 0) {
            at_start_ = Read();
            return;
        }
#ifdef PAVO_BENCH_CALLGRIND
        // Instrumentation stays on once started: turning it off flushes the translated code,
        // and the slower turns let a kept connection go idle long enough to be closed.
        CALLGRIND_START_INSTRUMENTATION;
        CALLGRIND_ZERO_STATS;
#endif
    }
    void Stop()
    {
        if (fd_ >= 0) {
            total_ += Read() - at_start_;
            ++regions_;
            return;
        }
#ifdef PAVO_BENCH_CALLGRIND
        CALLGRIND_DUMP_STATS_AT(label_.c_str());
#endif
    }
    // Leaves work inside a region uncounted (a check between its measured parts).
    void Pause()
    {
        if (fd_ >= 0) {
            total_ += Read() - at_start_;
            return;
        }
#ifdef PAVO_BENCH_CALLGRIND
        CALLGRIND_TOGGLE_COLLECT;
#endif
    }
    void Resume()
    {
        if (fd_ >= 0) {
            at_start_ = Read();
            return;
        }
#ifdef PAVO_BENCH_CALLGRIND
        CALLGRIND_TOGGLE_COLLECT;
#endif
    }
    // Instructions per region (over per, such as bytes) as the counter NAME, when the CPU
    // counted them.
    void Report(benchmark::State& state, const char* name, double per = 1) const
    {
        if (fd_ >= 0 && regions_ > 0)
            state.counters[name] =
                static_cast<double>(total_) / static_cast<double>(regions_) / per;
    }

private:
    uint64_t Read() const
    {
        uint64_t value = 0;
        return read(fd_, &value, sizeof value) == sizeof value ? value : 0;
    }

    std::string label_;
    int fd_ = -1;
    uint64_t at_start_ = 0;
    uint64_t total_ = 0;
    int64_t regions_ = 0;
};

#endif
