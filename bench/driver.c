/* Runs one operation and tells what it answered and what it cost.
 *
 *     PROGRAM OPERATION [ARGUMENT [MILLISECONDS]]
 *
 * Without MILLISECONDS the operation runs once, between two calls of access("/mark") that a trace shows. With
 * them it is repeated for about that long, and the least of several short series counts. Prints one JSON
 * object; times are in nanoseconds, faults and heap those of the first call. */
#include "bench/driver.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include "bench/heap.h"

enum { session_size = 554, connection_offset = 546, connection_size = 74 };

static uint64_t hash(uint64_t seed, const void* data, size_t size) {
    const unsigned char* bytes = data;
    for (size_t i = 0; i < size; ++i) seed = (seed ^ bytes[i]) * 0x100000001b3;
    return seed;
}

/* Session records hold the address of their connection: what stands there is the answer. */
static uint64_t hash_sessions(uint64_t seed, const unsigned char* buffer, size_t size) {
    for (const unsigned char* end = buffer + size; buffer < end; buffer += session_size) {
        const unsigned char* connection;
        memcpy(&connection, buffer + connection_offset, sizeof connection);
        seed = hash(seed, buffer, connection_offset);
        if (connection != NULL) seed = hash(seed, connection, connection_size);
    }
    return seed;
}

/* What `set` answers stands in the file. */
static uint64_t hash_file(uint64_t seed, const char* path) {
    FILE* file = fopen(path, "r");
    char text[65536];
    const size_t size = file != NULL ? fread(text, 1, sizeof text, file) : 0;
    if (file != NULL) fclose(file);
    return hash(seed, text, size);
}

static uint64_t digest(const char* operation, const struct answer* answer, const unsigned char* buffer) {
    const uint64_t seed = hash(0xcbf29ce484222325, answer, sizeof *answer);
    if (strcmp(operation, "sessions") == 0) return hash_sessions(seed, buffer, answer->bytes);
    if (strcmp(operation, "set") == 0) return hash_file(seed, "/etc/iscsi/iscsid.conf");
    return hash(seed, buffer, answer->bytes);
}

static double now(clockid_t clock) {
    struct timespec time;
    clock_gettime(clock, &time);
    return 1e9 * (double)time.tv_sec + (double)time.tv_nsec;
}

static long faults(void) {
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

struct cost {
    double cpu, wall;
};

static struct cost measure(const struct operation* operation, const char* argument, unsigned char* buffer,
                           double duration) {
    const double series = 1e6, end = now(CLOCK_MONOTONIC) + duration;
    struct cost least = {1e18, 1e18};
    unsigned int repeats = 1;
    do {
        const double wall = now(CLOCK_MONOTONIC), cpu = now(CLOCK_PROCESS_CPUTIME_ID);
        for (unsigned int i = 0; i < repeats; ++i) operation->run(argument, buffer);
        const double cpu_used = now(CLOCK_PROCESS_CPUTIME_ID) - cpu, used = now(CLOCK_MONOTONIC) - wall;
        if (cpu_used / repeats < least.cpu) least.cpu = cpu_used / repeats;
        if (used / repeats < least.wall) least.wall = used / repeats;
        if (used < series) repeats = used < series / 2 ? 2 * repeats : repeats + 1;
    } while (now(CLOCK_MONOTONIC) < end);
    return least;
}

static const struct operation* find(const char* name) {
    const struct operation* operation = operations;
    while (operation->name != NULL && (name == NULL || strcmp(operation->name, name) != 0)) ++operation;
    return operation->name != NULL ? operation : NULL;
}

int main(int argc, char** argv) {
    const struct operation* operation = find(argv[1]);
    const char* argument = argc > 2 ? argv[2] : "";
    const size_t buffer_size = argc > 1 && strcmp(argv[1], "targets") == 0 ? 48 << 20 : 1 << 20;
    unsigned char* buffer =
        mmap(NULL, buffer_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (operation == NULL || buffer == MAP_FAILED) {
        fprintf(stderr, "usage: %s OPERATION [ARGUMENT [MILLISECONDS]]\n", argv[0]);
        return 2;
    }
    memset(buffer, 0xaa, buffer_size); /* an answer leaves nothing in it that it should have written */

    const long faults_before = faults();
    heap_watch(1);
    access("/mark", F_OK);
    const struct answer answer = operation->run(argument, buffer);
    access("/mark", F_OK);
    const struct heap_use heap = heap_watch(0);
    const long first_faults = faults() - faults_before;
    printf("{\"status\": %u, \"digest\": \"%016llx\", \"faults\": %ld, \"allocations\": %lu, \"heap\": %lu",
           answer.status, (unsigned long long)digest(operation->name, &answer, buffer), first_faults,
           heap.allocations, heap.peak);
    if (argc > 3) {
        const struct cost least = measure(operation, argument, buffer, 1e6 * atof(argv[3]));
        printf(", \"cpu\": %.0f, \"wall\": %.0f", least.cpu, least.wall);
    }
    puts("}");
    return 0;
}
