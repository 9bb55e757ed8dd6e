/* What the two programs of the benchmark share: `bench_ours`, which asks the library, and `bench_floor`,
 * which itself makes the system calls that an answer needs. The driver runs their operations alike. */
#ifndef BENCH_DRIVER_H
#define BENCH_DRIVER_H

#ifdef __cplusplus
extern "C" {
#endif

/* What an operation wrote for its caller, besides the caller's buffer. */
struct answer {
    unsigned int status, count, bytes;
};

struct operation {
    const char* name;
    /* The argument is the command line's: a session's number or a target's name. */
    struct answer (*run)(const char* argument, unsigned char* buffer);
};

/* Ends with a null name. */
extern const struct operation operations[];

#ifdef __cplusplus
}
#endif
#endif
