/*
 * pavo_message.cpp - the bounded first-in-first-out message queue: worker
 * threads post finished jobs, the application's thread takes one message per
 * pavo_checkmessage call and runs its callback outside the lock. Created and
 * destroyed by the lifecycle; nodes come from the installed memory pool.
 */
#include <assert.h>

#include "runtime/pavo_message.h"
#include "runtime/pavo_runtime.h"

extern "C" {

t_pavo_messageque* g_messagequeue = nullptr;
int g_messagequeue_sizelimit = 100;

}  // extern "C"

namespace {

void free_nodes(t_pavo_message* node)
{
    while (node != nullptr) {
        t_pavo_message* next = node->next;
        pavo_free(node);
        node = next;
    }
}

// Runs body on the queue under its lock; none when no queue exists.
template <typename Result, typename Body>
Result under_queue_lock(Result none, Body body)
{
    t_pavo_messageque* queue = g_messagequeue;
    if (queue == nullptr)
        return none;
    pthread_mutex_lock(&queue->queue_lock);
    Result result = body(*queue);
    pthread_mutex_unlock(&queue->queue_lock);
    return result;
}

// Unlinks the oldest notice of a dropped message if any, else the head when
// the count says there is one. After
// pavo_messageque_clear the count can be positive with no head: the count is
// still decremented, nothing is taken, and the caller sees null.
t_pavo_message* take_head()
{
    return under_queue_lock<t_pavo_message*>(nullptr, [](t_pavo_messageque& queue) {
        t_pavo_message* message = queue.notice_head;
        if (message != nullptr) {
            queue.notice_head = message->next;
            return message;
        }
        if (queue.cur_queue_size > 0) {
            message = queue.queue_head;
            if (message != nullptr)
                queue.queue_head = message->next;
            queue.cur_queue_size--;
        }
        return message;
    });
}

}  // namespace

extern "C" {

int pavo_messageque_init(int maxqueuesize)
{
    pavo_inner_loginfo("messagequeue init begin\r\n");
    t_pavo_messageque* queue = static_cast<t_pavo_messageque*>(pavo_malloc(sizeof *queue));
    if (queue == nullptr)
        return -1;
    g_messagequeue_sizelimit = maxqueuesize;
    pthread_mutex_init(&queue->queue_lock, nullptr);
    queue->queue_head = nullptr;
    queue->cur_queue_size = 0;
    queue->notice_head = nullptr;
    g_messagequeue = queue;
    pavo_inner_loginfo("messagequeue init end\r\n");
    return 0;
}

int pavo_messageque_cleanup(void)
{
    pavo_inner_loginfo("messagequeue cleanup begin\r\n");
    t_pavo_messageque* queue = g_messagequeue;
    if (queue != nullptr) {
        // No lock: cleanup must not race with other queue calls anyway.
        free_nodes(queue->queue_head);
        free_nodes(queue->notice_head);
        pthread_mutex_destroy(&queue->queue_lock);
        pavo_free(queue);
        g_messagequeue = nullptr;
    }
    pavo_inner_loginfo("messagequeue cleanup end\r\n");
    return 0;
}

int pavo_messageque_clear(void)
{
    return under_queue_lock(0, [](t_pavo_messageque& queue) {
        free_nodes(queue.queue_head);
        queue.queue_head = nullptr;
        // cur_queue_size stays as it was: kept, takers cope with the stale count.
        return 0;
    });
}

int pavo_inner_postmessage(pavo_messagecallback cb, int eventtype, int eventscope, int eventid,
                           void* data, int datasize, void* cbdata, int cbdatasize, int notice)
{
    if (pavo_inner_funcmode() == FUNCMODE_SYNC)
        return -1;
    if (g_messagequeue == nullptr)
        return -1;
    pthread_mutex_lock(&g_messagequeue->queue_lock);
    if (!notice && g_messagequeue->cur_queue_size >= g_messagequeue_sizelimit) {
        // Dropped; the lock is released so that the queue goes on working.
        pthread_mutex_unlock(&g_messagequeue->queue_lock);
        pavo_inner_loginfo("E*****************messgage Queue exceed limit:%d\r\n",
                           g_messagequeue_sizelimit);
        return 1;
    }
    t_pavo_message* message = static_cast<t_pavo_message*>(pavo_malloc(sizeof *message));
    if (message == nullptr) {
        pthread_mutex_unlock(&g_messagequeue->queue_lock);
        return -1;  // the caller still owns what it meant to post
    }
    message->mdata = {data, datasize, cb, eventtype, eventscope, eventid, cbdata, cbdatasize};
    message->next = nullptr;
    t_pavo_message** tail = notice ? &g_messagequeue->notice_head : &g_messagequeue->queue_head;
    while (*tail != nullptr)
        tail = &(*tail)->next;
    *tail = message;
    if (!notice) {
        // An assertion prints its expression: the formatter leaves these texts as written.
        // clang-format off
        assert(g_messagequeue->queue_head != __null);
        // clang-format on
        g_messagequeue->cur_queue_size++;
    }
    pthread_mutex_unlock(&g_messagequeue->queue_lock);
    return 0;
}

int pavo_postmessage(pavo_messagecallback cb, int eventtype, int eventscope, int eventid,
                     void* data, int datasize, void* cbdata, int cbdatasize)
{
    int posted = pavo_inner_postmessage(cb, eventtype, eventscope, eventid, data, datasize,
                                        cbdata, cbdatasize, 0);
    return posted == 1 ? 0 : posted;
}

int pavo_getmessage(int* eventtype, int* eventid, void** data, int* datasize, void** cbdata,
                    int* cbdatasize)
{
    // Refused before anything is taken, so the buffers are not lost.
    if (data == nullptr || cbdata == nullptr)
        return -1;
    t_pavo_message* message = take_head();
    if (message == nullptr)
        return 0;
    const t_pavo_messagedata& m = message->mdata;
    if (eventtype != nullptr)
        *eventtype = m.eventtype;
    if (eventid != nullptr)
        *eventid = m.eventid;
    if (datasize != nullptr)
        *datasize = m.buffersize;
    if (cbdatasize != nullptr)
        *cbdatasize = m.cbdatasize;
    *data = m.buffer;
    *cbdata = m.cbdata;
    pavo_free(message);
    return 1;
}

int pavo_inner_takemessage(pavo_messagecallback* cb, void** cbdata)
{
    t_pavo_message* message = take_head();
    if (message == nullptr)
        return 0;
    *cb = message->mdata.cb;
    *cbdata = message->mdata.cbdata;
    pavo_free(message);
    return 1;
}

int pavo_getmessagecount(void)
{
    return under_queue_lock(0, [](t_pavo_messageque& queue) { return queue.cur_queue_size; });
}

int pavo_iner_checkmessage(void)
{
    t_pavo_message* message = take_head();
    if (message == nullptr)
        return 0;
    const t_pavo_messagedata& m = message->mdata;
    // Outside the lock: the callback may post again.
    if (m.cb != nullptr)
        m.cb(m.eventtype, m.eventscope, m.eventid, m.buffer, m.buffersize, m.cbdata,
             m.cbdatasize);
    pavo_free(message);
    return 1;
}

}  // extern "C"
