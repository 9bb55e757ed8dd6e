/* What the parts of the floor share: the records as they lie in a caller's buffer, and how the host is read.
 */
#ifndef BENCH_FLOOR_H
#define BENCH_FLOOR_H

#include <stdbool.h>
#include <stdint.h>
#include <sys/types.h>

#include "bench/driver.h"

#pragma pack(push, 1)
struct connection {
    unsigned char zero_0[1], initiator[16], target[16], zero_33[2];
    uint16_t port;
    unsigned char zero_37[37];
};
struct session {
    char initiator_name[256], target_name[256];
    unsigned char id[16], handle[16];
    uint16_t connection_count;
    struct connection* connection;
};
struct disk {
    char size[64], device[32];
    unsigned char host, channel, target_id, lun, zero_100;
    char vendor[32], model[64], initiator_name[256], target_name[256];
};
struct target {
    uint32_t node_index;
    char name[256], info[256];
    unsigned char logged_in, persistent, zero_518[9110 + 8 + 40];
};
struct portal {
    char address[16];
    unsigned char tag;
    uint32_t port;
    unsigned char zero_21[8];
};
struct property {
    uint32_t id;
    char value[256];
};
struct node {
    uint32_t zero_0, valid;
    char name[256], zero_264[256], initiator_name[256], zero_776[20];
    unsigned char running;
    struct property properties[36];
    unsigned char zero_10157[8];
};
#pragma pack(pop)

enum { success = 0 };
#define SETTINGS_FILE "/etc/iscsi/iscsid.conf"

/* ---- Files ---- */

/* As much as fits, in one read; -1 when the file cannot be opened. */
ssize_t read_file(int at, const char* path, int flags, char* text, size_t size);

/* Into a field of zeros. */
void copy_word(char* field, size_t size, const char* text, const char* separators);
bool read_word(int at, const char* path, char* word, size_t size);

struct listing {
    size_t count, used;
    const char* names[1 << 14];
    char bytes[1 << 21];
};

/* The open directory, and its names that begin with `prefix`, in version order. */
int open_listed(struct listing* listing, int at, const char* path, const char* prefix);

/* The first entry that begins with `prefix`, without looking at what lies behind it. */
void first_entry(int at, const char* path, const char* prefix, char* name, size_t size);

/* ---- What several operations read ---- */

unsigned int installed(void);
unsigned int running(void);
void read_initiator_name(char* name);

int open_classes(void);
/* As a record carries it: one byte. */
int session_number(const char* entry);
void read_target_name(int classes, const char* session, char* name);
void parse_address(const char* text, unsigned char* bytes);
void read_portal(int classes, int number, struct connection* connection);

/* ---- Operations ---- */

struct answer targets(const char* unused, unsigned char* buffer);
struct answer groups(const char* name, unsigned char* buffer);
struct answer portals(const char* name, unsigned char* buffer);
struct answer property(const char* unused, unsigned char* buffer);
struct answer globals(const char* unused, unsigned char* buffer);
struct answer initiators(const char* unused, unsigned char* buffer);
struct answer set(const char* unused, unsigned char* buffer);

#endif
