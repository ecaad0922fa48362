/*
 * pavo_message.h - the bounded message queue by which worker threads hand
 * finished jobs to the application's thread: its records and its two globals.
 * The queue functions are public; the pipeline posts through the runtime's
 * inner calls, and the pump, pavo_checkmessage, drains it.
 */
#ifndef PAVO_MESSAGE_H
#define PAVO_MESSAGE_H

#include <pthread.h>

#include "pavo.h"

typedef struct {
    void* buffer; /* stored as given, never copied or freed by the queue */
    int buffersize;
    pavo_messagecallback cb;
    int eventtype;
    int eventscope;
    int eventid;
    void* cbdata; /* likewise the consumer's */
    int cbdatasize;
} t_pavo_messagedata;

typedef struct __t_pavo_message {
    long mtype; /* never set: zero from the allocator */
    t_pavo_messagedata mdata;
    struct __t_pavo_message* next;
} t_pavo_message;

typedef struct {
    pthread_mutex_t queue_lock;
    t_pavo_message* queue_head;
    int cur_queue_size;
    /* Notices of dropped messages: outside the limit, taken before the queue. */
    t_pavo_message* notice_head;
} t_pavo_messageque;

extern "C" {
extern t_pavo_messageque* g_messagequeue;
extern int g_messagequeue_sizelimit;
}

#endif /* PAVO_MESSAGE_H */
