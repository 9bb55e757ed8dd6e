#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "bench/floor.h"

enum { property_end = 78 };

static const struct {
    const char* key;
    uint32_t id;
} keys[] = {
    {"node.startup", 15},
    {"node.session.timeo.replacement_timeout", 19},
    {"node.conn[0].timeo.login_timeout", 16},
    {"node.conn[0].timeo.logout_timeout", 17},
    {"node.conn[0].timeo.noop_out_interval", 31},
    {"node.conn[0].timeo.noop_out_timeout", 30},
    {"node.session.err_timeo.abort_timeout", 28},
    {"node.session.err_timeo.lu_reset_timeout", 29},
    {"node.session.initial_login_retry_max", 18},
    {"node.session.cmds_max", 25},
    {"node.session.queue_depth", 26},
    {"node.session.iscsi.InitialR2T", 7},
    {"node.session.iscsi.ImmediateData", 8},
    {"node.session.iscsi.FirstBurstLength", 10},
    {"node.session.iscsi.MaxBurstLength", 11},
    {"node.conn[0].iscsi.MaxRecvDataSegmentLength", 2},
    {"discovery.sendtargets.iscsi.MaxRecvDataSegmentLength", 32},
    {"node.session.iscsi.FastAbort", 27},
};

static char settings[1 << 16];

static uint32_t property_id(const char* key) {
    for (size_t i = 0; i < sizeof keys / sizeof keys[0]; ++i) {
        if (strcmp(keys[i].key, key) == 0) return keys[i].id;
    }
    return 0;
}

/* Name, settings and end entry; the number of those before the end. */
static unsigned int read_properties(struct property* properties) {
    struct property* property = properties;
    memset(property, 0, sizeof *property);
    property->id = 1;
    read_initiator_name(property->value);
    read_file(AT_FDCWD, SETTINGS_FILE, O_RDWR, settings, sizeof settings);
    ++property;
    for (char *rest = settings, *line; (line = strsep(&rest, "\n")) != NULL;) {
        char* equals = strstr(line, " = ");
        if (line[0] == '#' || equals == NULL) continue;
        *equals = '\0';
        const uint32_t id = property_id(line);
        if (id == 0) continue;
        memset(property, 0, sizeof *property);
        property->id = id;
        strcpy(property->value, equals + 3);
        ++property;
    }
    memset(property, 0, sizeof *property);
    property->id = property_end;
    return (unsigned int)(property - properties);
}

struct answer property(const char* unused, unsigned char* buffer) {
    (void)unused;
    if (!installed()) return (struct answer){182, 0, 0};
    const unsigned int count = read_properties((struct property*)buffer);
    return (struct answer){success, 0, (unsigned int)(count * sizeof(struct property))};
}

/* The answer is the same, and a flag that agents see is probed. */
struct answer globals(const char* unused, unsigned char* buffer) {
    running();
    return property(unused, buffer);
}

struct answer initiators(const char* unused, unsigned char* buffer) {
    struct node* node = memset(buffer, 0, sizeof *node);
    (void)unused;
    if (!installed()) return (struct answer){182, 0, 0};
    node->running = (unsigned char)running();
    node->valid = 1;
    read_properties(node->properties);
    memcpy(node->name, node->properties[0].value, sizeof node->name);
    memcpy(node->initiator_name, node->name, sizeof node->name);
    return (struct answer){success, 0, sizeof *node};
}

/* Sets the login timeout, through the temporary file that its readers may expect. */
struct answer set(const char* unused, unsigned char* buffer) {
    static const char temporary[] = "/tmp/tmpiscsidconf.txt", key[] = "\nnode.conn[0].timeo.login_timeout = ";
    static char text[sizeof settings + 64];
    static bool longer = false;
    longer = !longer;
    (void)unused, (void)buffer;
    if (!installed()) return (struct answer){182, 0, 0};
    const int copy = open(temporary, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const int file = open(SETTINGS_FILE, O_RDWR | O_CLOEXEC);
    const ssize_t old_size = read(file, settings, sizeof settings - 1);
    settings[old_size] = '\0';
    char* value = strstr(settings, key) + strlen(key);
    const int size = snprintf(text, sizeof text, "%.*s%s%s", (int)(value - settings), settings,
                              longer ? "300" : "30", strchr(value, '\n'));
    const bool written =
        write(copy, text, (size_t)size) == size && pwrite(file, text, (size_t)size, 0) == size;
    if (size < old_size && ftruncate(file, size) != 0) return (struct answer){1, 0, 0};
    const bool kept = fsync(file) == 0;
    close(file);
    close(copy);
    unlink(temporary);
    return (struct answer){written && kept ? success : 1, 0, 0};
}
