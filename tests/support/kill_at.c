// Preloaded into a program, ends it by SIGKILL right before its nth change of a file system, as
// KILL_AT tells: what comes of that is what a crash leaves. With KILL_COUNT, a file, it writes
// there how many there were.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <signal.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/types.h>
#include <unistd.h>

static atomic_long changes;

static void step(void) {
    const char* at = getenv("KILL_AT");
    if (atomic_fetch_add(&changes, 1) + 1 == (at ? atol(at) : 0)) kill(getpid(), SIGKILL);
}

__attribute__((destructor)) static void tell(void) {
    const char* path = getenv("KILL_COUNT");
    FILE* file = path ? fopen(path, "w") : NULL;
    if (!file) return;
    fprintf(file, "%ld\n", atomic_load(&changes));
    fclose(file);
}

// Destructors do not run then.
_Noreturn void _Exit(int code) {
    tell();
    _exit(code);
}

#define CHANGE(result, name, parameters, arguments)                      \
    result name parameters {                                             \
        static result(*real) parameters;                                 \
        if (!real) real = (result(*) parameters)dlsym(RTLD_NEXT, #name); \
        step();                                                          \
        return real arguments;                                           \
    }

CHANGE(int, renameat, (int a, const char* b, int c, const char* d), (a, b, c, d))
CHANGE(int, rename, (const char* a, const char* b), (a, b))
CHANGE(int, renameat2, (int a, const char* b, int c, const char* d, unsigned e), (a, b, c, d, e))
CHANGE(int, linkat, (int a, const char* b, int c, const char* d, int e), (a, b, c, d, e))
CHANGE(int, unlink, (const char* a), (a))
CHANGE(int, unlinkat, (int a, const char* b, int c), (a, b, c))
CHANGE(int, mkdirat, (int a, const char* b, mode_t c), (a, b, c))
CHANGE(int, mkdir, (const char* a, mode_t b), (a, b))
CHANGE(int, ftruncate, (int a, off_t b), (a, b))
CHANGE(int, fsync, (int a), (a))
CHANGE(int, fdatasync, (int a), (a))
CHANGE(int, syncfs, (int a), (a))
CHANGE(ssize_t, pwrite64, (int a, const void* b, size_t c, off_t d), (a, b, c, d))
CHANGE(ssize_t, pwrite, (int a, const void* b, size_t c, off_t d), (a, b, c, d))
