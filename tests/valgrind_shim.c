/* Loaded into the programs under valgrind, for two things that they cannot do there; elsewhere, as in the browsers that
 * inherit it, every call is what it is.
 * - pidfd_open, which valgrind does not know before 3.21: gives a descriptor of a child that becomes readable when that
 *   ends, and that waitid takes. A thread waits for each child.
 * - Giving a child that has just been started another limit of descriptors: a valgrind that is starting itself there has
 *   reserved some near the limit already, and gives up. */
#define _GNU_SOURCE 1
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <valgrind/valgrind.h>

enum { kMost = 65536 };
static pid_t children[kMost]; /* by descriptor */

typedef int Wait(idtype_t, id_t, siginfo_t*, int);
static Wait* next_waitid(void) {
    return (Wait*)dlsym(RTLD_NEXT, "waitid");
}

static void* watch(void* argument) {
    const int fd = (int)(intptr_t)argument;
    siginfo_t info;
    while (next_waitid()(P_PID, (id_t)children[fd], &info, WEXITED | WNOWAIT) != 0 && errno == EINTR)
        ;
    eventfd_write(fd, 1);
    return NULL;
}

int pidfd_open(pid_t pid, unsigned flags) {
    if (!RUNNING_ON_VALGRIND)
        return ((int (*)(pid_t, unsigned))dlsym(RTLD_NEXT, "pidfd_open"))(pid, flags);
    const int fd = eventfd(0, EFD_CLOEXEC);
    if (fd < 0 || fd >= kMost)
        return -1;
    children[fd] = pid;
    sigset_t all, before; /* signals are the program's */
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    const int error = pthread_create(&thread, NULL, watch, (void*)(intptr_t)fd);
    pthread_sigmask(SIG_SETMASK, &before, NULL);
    if (error != 0) {
        close(fd);
        return -1;
    }
    pthread_detach(thread);
    return fd;
}

int waitid(idtype_t type, id_t id, siginfo_t* info, int options) {
    if (RUNNING_ON_VALGRIND && type == P_PIDFD)
        return next_waitid()(P_PID, (id_t)children[id], info, options);
    return next_waitid()(type, id, info, options);
}

int prlimit(pid_t pid, enum __rlimit_resource resource, const struct rlimit* fresh, struct rlimit* old) {
    if (RUNNING_ON_VALGRIND && pid != 0 && pid != getpid())
        return 0;
    return ((int (*)(pid_t, int, const struct rlimit*, struct rlimit*))dlsym(RTLD_NEXT, "prlimit"))(
        pid, (int)resource, fresh, old);
}
