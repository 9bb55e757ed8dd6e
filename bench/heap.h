/* Counts what a stretch of a program takes from the heap. */
#ifndef BENCH_HEAP_H
#define BENCH_HEAP_H

struct heap_use {
    unsigned long allocations, peak; /* number; most bytes held at a time */
};

/* Begins (1) or ends (0) a stretch, and answers the one that ended. */
struct heap_use heap_watch(int begin);

#endif
