/*
 * pavo_mutex.h - the record behind an HMYMUTEX handle and a scoped lock over
 * it for the library's C++ code. The handle functions (MyMutexConstruct etc.)
 * are exported through the public header.
 */
#ifndef PAVO_MUTEX_H
#define PAVO_MUTEX_H

#include <pthread.h>

#include "pavo.h"

typedef struct {
    pthread_mutex_t mtx;
    HMYMEMPOOL hm; /* the pool the record came from; it goes back there */
} mymutex_t;

/* Holds an HMYMUTEX for one scope; a null handle locks nothing, as the
 * wrapper functions themselves do. */
class MyMutexGuard {
public:
    explicit MyMutexGuard(HMYMUTEX hmx) : hmx_(hmx) { MyMutexLock(hmx_); }
    ~MyMutexGuard() { MyMutexUnLock(hmx_); }
    MyMutexGuard(const MyMutexGuard&) = delete;
    MyMutexGuard& operator=(const MyMutexGuard&) = delete;

private:
    HMYMUTEX hmx_;
};

#endif /* PAVO_MUTEX_H */
