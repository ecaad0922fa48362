/*
 * pavo_service_calls.h - the library's calls in flight, so that shut-down is
 * bounded and frees nothing a call still uses: requests and the message pump
 * count themselves in, pavo_cleanup closes the door, makes running transfers
 * abort and waits for the count to fall to zero. Also tells whether the
 * calling thread is running the application's callbacks (pavo_checkmessage).
 */
#ifndef PAVO_SERVICE_CALLS_H
#define PAVO_SERVICE_CALLS_H

#ifdef __cplusplus
extern "C" {
#endif

/* 1 and counted in, or 0 while pavo_cleanup runs (the call must then fail). */
int pavo_inner_entercall(void);
void pavo_inner_leavecall(void);
/* Non-zero from the moment pavo_cleanup begins until it ends: transfers abort,
 * the asynchronous caller's pause ends, new calls are refused. */
int pavo_inner_closing(void);
void pavo_inner_closecalls(void);
/* Waits until every call other than the caller's own has left. */
void pavo_inner_waitcalls(void);
void pavo_inner_opencalls(void);
/* Non-zero while this thread runs pavo_checkmessage's callbacks. */
int pavo_inner_incallback(void);
void pavo_inner_callbackbegin(void);
void pavo_inner_callbackend(void);

#ifdef __cplusplus
}

/* One call in flight for the scope of the object. */
class PavoCall {
public:
    PavoCall() : entered_(pavo_inner_entercall() != 0) {}
    ~PavoCall()
    {
        if (entered_)
            pavo_inner_leavecall();
    }
    PavoCall(const PavoCall&) = delete;
    PavoCall& operator=(const PavoCall&) = delete;
    explicit operator bool() const { return entered_; }

private:
    bool entered_;
};
#endif

#endif /* PAVO_SERVICE_CALLS_H */
