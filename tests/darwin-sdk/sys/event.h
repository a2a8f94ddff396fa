/* Declarations of the Darwin kernel event interface used by the process exit watcher. */
#ifndef _SYS_EVENT_H_
#define _SYS_EVENT_H_

#include <stdint.h>
#include <time.h>

struct kevent64_s {
    uint64_t ident;
    int16_t filter;
    uint16_t flags;
    uint32_t fflags;
    int64_t data;
    uint64_t udata;
    uint64_t ext[2];
};

#define EVFILT_PROC (-5)

#define EV_ADD 0x0001
#define EV_ENABLE 0x0004
#define EV_ONESHOT 0x0010

#define NOTE_EXIT 0x80000000

#ifdef __cplusplus
extern "C" {
#endif

int kqueue(void);
int kevent64(int kq, const struct kevent64_s* changelist, int nchanges,
             struct kevent64_s* eventlist, int nevents, unsigned int flags,
             const struct timespec* timeout);

#ifdef __cplusplus
}
#endif

#endif
