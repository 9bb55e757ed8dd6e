/* The C library's allocation functions, with a count of what goes through them while somebody watches. */
#include "bench/heap.h"

#include <malloc.h>
#include <stddef.h>

void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);

static int watched;
static unsigned long held;
static struct heap_use use;

static void* taken(void* block) {
    if (!watched || block == NULL) return block;
    ++use.allocations;
    held += malloc_usable_size(block);
    if (held > use.peak) use.peak = held;
    return block;
}

static void* given(void* block) {
    if (watched && block != NULL) held -= malloc_usable_size(block);
    return block;
}

void* malloc(size_t size) {
    return taken(__libc_malloc(size));
}
void* calloc(size_t count, size_t size) {
    return taken(__libc_calloc(count, size));
}
void* realloc(void* block, size_t size) {
    return taken(__libc_realloc(given(block), size));
}
void free(void* block) {
    __libc_free(given(block));
}

struct heap_use heap_watch(int begin) {
    const struct heap_use ended = use;
    watched = begin;
    held = 0;
    use = (struct heap_use){0, 0};
    return ended;
}
