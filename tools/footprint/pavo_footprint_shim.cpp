/*
 * pavo_footprint_shim.cpp - preloaded into a program (LD_PRELOAD) by tools/pavo-footprint to
 * measure what a session costs on a box: live heap and its peak, split by the shared object
 * that asked for each block (libpavo, libcurl, libcrypto, ...), the threads started with
 * their stack reserve, and the deepest stack each thread used (painted, then scanned).
 * Works under qemu-user, where Valgrind does not. Reports on standard error at exit.
 */
#include <dlfcn.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <new>

extern "C" void* __libc_malloc(size_t);
extern "C" void __libc_free(void*);

namespace {

constexpr size_t kHeader = 16;  // keeps glibc's alignment of the block behind it
constexpr int kObjects = 24;
constexpr unsigned char kPaint = 0xA5;

struct Header {
    void* raw;
    uint32_t size;
    uint32_t object;
};
static_assert(sizeof(Header) <= kHeader, "header fits");

pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;
const char* g_names[kObjects] = {"(shim)"};
int g_count = 1;  // 0: the shim's own look-ups
size_t g_live[kObjects], g_peak_split[kObjects], g_live_total, g_peak;
size_t g_blocks, g_peak_blocks;
thread_local bool t_inside;

pthread_mutex_t g_names_lock = PTHREAD_MUTEX_INITIALIZER;
struct CacheEntry {
    void* caller;
    uint32_t object;
};
CacheEntry g_cache[1024];

// The shared object of a caller's address, by the file name dladdr gives; cached by address.
uint32_t object_of(void* caller)
{
    if (t_inside)  // dladdr's own allocations
        return 0;
    t_inside = true;
    pthread_mutex_lock(&g_names_lock);
    CacheEntry& entry = g_cache[(reinterpret_cast<uintptr_t>(caller) >> 2) % 1024];
    uint32_t object = entry.object;
    if (entry.caller != caller) {
        Dl_info info;
        const char* name =
            (caller != nullptr && dladdr(caller, &info) && info.dli_fname) ? info.dli_fname : "?";
        const char* base = strrchr(name, '/');
        base = base ? base + 1 : name;
        object = kObjects - 1;
        for (int i = 0; i < g_count; ++i)
            if (strcmp(g_names[i], base) == 0)
                object = static_cast<uint32_t>(i);
        if (object == kObjects - 1 && g_count < kObjects - 1) {
            g_names[g_count] = base;
            object = static_cast<uint32_t>(g_count++);
        }
        entry = CacheEntry{caller, object};
    }
    pthread_mutex_unlock(&g_names_lock);
    t_inside = false;
    return object;
}

void* take(size_t size, size_t align, void* caller)
{
    if (align < kHeader)
        align = kHeader;
    char* raw = static_cast<char*>(__libc_malloc(size + align + kHeader));
    if (raw == nullptr)
        return nullptr;
    uintptr_t at = (reinterpret_cast<uintptr_t>(raw) + kHeader + align - 1) & ~(align - 1);
    Header* header = reinterpret_cast<Header*>(at - kHeader);
    header->raw = raw;
    header->size = static_cast<uint32_t>(size);
    header->object = object_of(caller);
    pthread_mutex_lock(&g_lock);
    g_live[header->object] += size;
    g_live_total += size;
    g_blocks++;
    if (g_live_total > g_peak) {
        g_peak = g_live_total;
        g_peak_blocks = g_blocks;
        memcpy(g_peak_split, g_live, sizeof g_live);
    }
    pthread_mutex_unlock(&g_lock);
    return reinterpret_cast<void*>(at);
}

void give(void* block)
{
    if (block == nullptr)
        return;
    Header* header = reinterpret_cast<Header*>(static_cast<char*>(block) - kHeader);
    pthread_mutex_lock(&g_lock);
    g_live[header->object] -= header->size;
    g_live_total -= header->size;
    g_blocks--;
    pthread_mutex_unlock(&g_lock);
    __libc_free(header->raw);
}

size_t size_of(void* block)
{
    return reinterpret_cast<Header*>(static_cast<char*>(block) - kHeader)->size;
}

// Threads: the reserve each asked for, and the deepest stack it used.
struct Start {
    void* (*routine)(void*);
    void* arg;
};
size_t g_threads, g_reserve_max, g_depth_max, g_scanned;
size_t g_threads_by[kObjects], g_reserve_by[kObjects];

// Painted stacks of started threads; a thread still running at exit (a parked worker) is
// scanned by the report.
struct Painted {
    uintptr_t bottom, top;
};
Painted g_painted[256];
size_t g_painted_count;

size_t deepest(const Painted& area)
{
    uintptr_t p = area.bottom;
    while (p < area.top && *reinterpret_cast<const unsigned char*>(p) == kPaint)
        ++p;
    return area.top - p;
}

void record_depth(size_t slot)
{
    pthread_mutex_lock(&g_lock);
    if (g_painted[slot].top != 0) {
        size_t depth = deepest(g_painted[slot]);
        if (depth > g_depth_max)
            g_depth_max = depth;
        g_painted[slot].top = 0;
        g_scanned++;
    }
    pthread_mutex_unlock(&g_lock);
}

void* thread_main(void* arg)
{
    Start start = *static_cast<Start*>(arg);
    __libc_free(arg);
    pthread_attr_t attr;
    void* low = nullptr;
    size_t size = 0;
    pthread_getattr_np(pthread_self(), &attr);
    pthread_attr_getstack(&attr, &low, &size);
    pthread_attr_destroy(&attr);
    char here;
    // Addresses as numbers: the painted area lies outside every object of this frame.
    Painted area = {reinterpret_cast<uintptr_t>(low) + 16 * 1024,  // past the guard
                    reinterpret_cast<uintptr_t>(&here) - 256};
    if (area.top > area.bottom)
        memset(reinterpret_cast<void*>(area.bottom), kPaint, area.top - area.bottom);
    size_t slot = sizeof g_painted / sizeof g_painted[0];
    pthread_mutex_lock(&g_lock);
    if (g_painted_count < slot) {
        slot = g_painted_count++;
        g_painted[slot] = area;
    }
    pthread_mutex_unlock(&g_lock);
    void* result = start.routine(start.arg);
    if (slot < sizeof g_painted / sizeof g_painted[0])
        record_depth(slot);
    return result;
}

// The main thread: a megabyte below the constructor's frame is painted before main runs.
uintptr_t g_main_bottom;  // the painted area's bounds, kept as numbers past its frame
uintptr_t g_main_top;

__attribute__((noinline)) void paint_main_stack()
{
    char area[1 << 20];
    memset(area, kPaint, sizeof area);
    __asm__ volatile("" : : "r"(area) : "memory");
    g_main_bottom = reinterpret_cast<uintptr_t>(area);
    g_main_top = g_main_bottom + sizeof area;
}

__attribute__((constructor)) void start() { paint_main_stack(); }

__attribute__((destructor)) void report()
{
    uintptr_t p = g_main_bottom;
    while (p < g_main_top && *reinterpret_cast<const unsigned char*>(p) == kPaint)
        ++p;
    fprintf(stderr, "footprint: deepest main-thread stack below start-up %zu bytes\n",
            static_cast<size_t>(g_main_top - p));
    fprintf(stderr, "footprint: peak heap %zu bytes in %zu blocks; live at exit %zu\n", g_peak,
            g_peak_blocks, g_live_total);
    for (int i = 0; i < g_count; ++i)
        if (g_peak_split[i] != 0)
            fprintf(stderr, "footprint:   at peak %-28s %8zu bytes\n", g_names[i],
                    g_peak_split[i]);
    size_t finished = g_scanned;
    for (size_t i = 0; i < g_painted_count; ++i)
        record_depth(i);
    fprintf(stderr,
            "footprint: %zu threads started (%zu finished before exit), largest stack"
            " reserve %zu bytes, deepest stack a thread used %zu bytes\n",
            g_threads, finished, g_reserve_max, g_depth_max);
    for (int i = 0; i < g_count; ++i)
        if (g_threads_by[i] != 0)
            fprintf(stderr,
                    "footprint:   threads started by %-22s %zu, stack reserve %zu"
                    " bytes\n",
                    g_names[i], g_threads_by[i], g_reserve_by[i]);
}

}  // namespace

extern "C" {

void* malloc(size_t size) { return take(size, 0, __builtin_return_address(0)); }
void free(void* block) { give(block); }
void* calloc(size_t count, size_t size)
{
    if (size != 0 && count > SIZE_MAX / size)
        return nullptr;
    void* block = take(count * size, 0, __builtin_return_address(0));
    if (block != nullptr)
        memset(block, 0, count * size);
    return block;
}
void* realloc(void* block, size_t size)
{
    if (block == nullptr)
        return take(size, 0, __builtin_return_address(0));
    void* grown = take(size, 0, __builtin_return_address(0));
    if (grown != nullptr) {
        size_t old = size_of(block);
        memcpy(grown, block, old < size ? old : size);
        give(block);
    }
    return grown;
}
int posix_memalign(void** out, size_t align, size_t size)
{
    *out = take(size, align, __builtin_return_address(0));
    return *out != nullptr ? 0 : 12;
}
void* aligned_alloc(size_t align, size_t size)
{
    return take(size, align, __builtin_return_address(0));
}
void* memalign(size_t align, size_t size)
{
    return take(size, align, __builtin_return_address(0));
}
size_t malloc_usable_size(void* block) { return block != nullptr ? size_of(block) : 0; }

int pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*routine)(void*),
                   void* arg)
{
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static Create real = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    size_t reserve = 0;
    pthread_attr_t defaults;
    pthread_attr_init(&defaults);
    pthread_attr_getstacksize(attr != nullptr ? attr : &defaults, &reserve);
    pthread_attr_destroy(&defaults);
    Start* start = static_cast<Start*>(__libc_malloc(sizeof(Start)));
    *start = Start{routine, arg};
    const uint32_t creator = object_of(__builtin_return_address(0));
    pthread_mutex_lock(&g_lock);
    g_threads++;
    g_threads_by[creator]++;
    if (reserve > g_reserve_by[creator])
        g_reserve_by[creator] = reserve;
    if (reserve > g_reserve_max)
        g_reserve_max = reserve;
    pthread_mutex_unlock(&g_lock);
    return real(thread, attr, thread_main, start);
}

}  // extern "C"

void* operator new(size_t size)
{
    void* block = take(size, 0, __builtin_return_address(0));
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}
void* operator new[](size_t size)
{
    void* block = take(size, 0, __builtin_return_address(0));
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}
void operator delete(void* block) noexcept { give(block); }
void operator delete[](void* block) noexcept { give(block); }
void operator delete(void* block, size_t) noexcept { give(block); }
void operator delete[](void* block, size_t) noexcept { give(block); }
