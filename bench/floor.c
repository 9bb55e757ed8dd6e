/* What the answers cost at least: plain C that makes the system calls an answer needs and no others, for a
 * host that is in order. It takes a daemon's word for where it runs, sees no broken file, and knows what
 * fits. */
#include "bench/floor.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/utsname.h>
#include <unistd.h>

/* ---- Checks ---- */

unsigned int installed(void) {
    struct utsname kernel;
    char module[160];
    const int settings = open(SETTINGS_FILE, O_RDONLY | O_CLOEXEC);
    if (settings < 0) return 0;
    close(settings);
    uname(&kernel);
    snprintf(module, sizeof module, "/lib/modules/%s/kernel/drivers/scsi/iscsi_tcp.ko", kernel.release);
    return access(module, F_OK) == 0;
}

unsigned int running(void) {
    char text[4096], path[64];
    if (read_file(AT_FDCWD, "/proc/modules", O_RDONLY, text, sizeof text) < 0) return 0;
    if (strncmp(text, "iscsi_tcp", 9) != 0 && strstr(text, "\niscsi_tcp") == NULL) return 0;
    if (read_file(AT_FDCWD, "/run/iscsid.pid", O_RDONLY, text, sizeof text) < 0) return 0;
    snprintf(path, sizeof path, "/proc/%ld/cmdline", strtol(text, NULL, 10));
    return read_file(AT_FDCWD, path, O_RDONLY, text, 80) > 0 && strstr(text, "iscsid") != NULL;
}

static struct answer check(const char* unused, unsigned char* buffer) {
    (void)unused, (void)buffer;
    return (struct answer){success, installed() + running(), 0};
}

/* ---- Sessions ---- */

/* Where the class entry, or on older kernels the device link, says "host3". */
static unsigned int session_host(int classes, int number) {
    char path[64], link[256];
    const int end = snprintf(path, sizeof path, "iscsi_session/session%d", number);
    ssize_t length = readlinkat(classes, path, link, sizeof link - 1);
    if (length < 0) {
        strcpy(path + end, "/device");
        length = readlinkat(classes, path, link, sizeof link - 1);
    }
    link[length > 0 ? length : 0] = '\0';
    const char* host = strstr(link, "/host");
    return host != NULL ? (unsigned int)strtoul(host + 5, NULL, 10) : 0;
}

int open_classes(void) {
    return open("/sys/class", O_PATH | O_CLOEXEC);
}

int session_number(const char* name) {
    return atoi(name + strlen("session")) & 255;
}

void read_target_name(int classes, const char* session, char* name) {
    char path[128];
    snprintf(path, sizeof path, "iscsi_session/%s/targetname", session);
    read_word(classes, path, name, 256);
}

void parse_address(const char* text, unsigned char* bytes) {
    for (; *text >= '0' && *text <= '9'; text += *text == '.') {
        *bytes++ = (unsigned char)strtoul(text, (char**)&text, 10);
    }
}

void read_portal(int classes, int number, struct connection* connection) {
    char path[64], text[80] = "";
    const int length = snprintf(path, sizeof path, "iscsi_connection/connection%d:0/address", number);
    read_word(classes, path, text, sizeof text);
    parse_address(text, connection->target);
    strcpy(path + length - strlen("address"), "port");
    read_word(classes, path, text, sizeof text);
    connection->port = (uint16_t)strtoul(text, NULL, 10);
}

static void read_initiator_address(int classes, unsigned int host, struct connection* connection) {
    char path[64], text[80] = "";
    snprintf(path, sizeof path, "iscsi_host/host%u/ipaddress", host);
    read_word(classes, path, text, sizeof text);
    parse_address(text, connection->initiator);
}

void read_initiator_name(char* name) {
    char text[4096];
    read_file(AT_FDCWD, "/etc/iscsi/initiatorname.iscsi", O_RDWR, text, sizeof text);
    const char* line = strstr(text, "\nInitiatorName=");
    line = line != NULL ? line + 1 : text;
    copy_word(name, 256, line + strlen("InitiatorName="), " \n");
}

static struct listing names; /* of sessions or LUNs */

static struct answer sessions(const char* unused, unsigned char* buffer) {
    static struct connection connections[256];
    struct session* session = (struct session*)buffer;
    char initiator_name[256] = "";
    (void)unused;
    if (installed() + running() != 2) return (struct answer){183, 0, 0};
    const int classes = open_classes();
    close(open_listed(&names, classes, "iscsi_session", ""));
    read_initiator_name(initiator_name);
    for (size_t i = 0; i < names.count; ++i, ++session) {
        const int number = session_number(names.names[i]);
        struct connection* connection = &connections[number];
        memset(session, 0, sizeof *session);
        memset(connection, 0, sizeof *connection);
        memcpy(session->initiator_name, initiator_name, sizeof initiator_name);
        read_target_name(classes, names.names[i], session->target_name);
        session->id[0] = session->handle[0] = (unsigned char)number;
        session->connection_count = 1;
        session->connection = connection;
        read_portal(classes, number, connection);
        read_initiator_address(classes, session_host(classes, number), connection);
    }
    close(classes);
    return (struct answer){success, (unsigned int)names.count, (unsigned int)(names.count * sizeof *session)};
}

static struct answer connections(const char* argument, unsigned char* buffer) {
    struct connection* connection = memset(buffer, 0, sizeof *connection);
    const int number = atoi(argument);
    char name[256] = "";
    if (installed() + running() != 2) return (struct answer){183, 0, 0};
    read_initiator_name(name);
    if (name[0] == '\0') return (struct answer){191, 0, 0};
    const int classes = open_classes();
    read_portal(classes, number, connection);
    read_initiator_address(classes, session_host(classes, number), connection);
    close(classes);
    return (struct answer){success, 0, sizeof *connection};
}

/* ---- Disks ---- */

static void read_disk(const char* lun, struct disk* disk) {
    unsigned int host, channel, target_id, number;
    char path[160], size[32] = "";
    sscanf(lun, "%u:%u:%u:%u", &host, &channel, &target_id, &number);
    disk->host = (unsigned char)host, disk->channel = (unsigned char)channel;
    disk->target_id = (unsigned char)target_id, disk->lun = (unsigned char)number;
    const int length =
        snprintf(path, sizeof path, "/sys/bus/scsi/devices/%u:0:%u:%u/", host, target_id, number);
    char* file = path + length;
    const size_t room = sizeof path - (size_t)length;
    strcpy(file, "block");
    first_entry(AT_FDCWD, path, "", disk->device, sizeof disk->device);
    if (disk->device[0] != '\0') {
        snprintf(file, room, "block/%s/size", disk->device);
    } else { /* older kernels: a link "block:sdb" in the device's directory */
        *file = '\0';
        first_entry(AT_FDCWD, path, "block:", file, room);
        copy_word(disk->device, sizeof disk->device, file + strlen("block:"), "");
        strcat(file, "/size");
    }
    read_word(AT_FDCWD, path, size, sizeof size);
    snprintf(disk->size, sizeof disk->size, "%llu", strtoull(size, NULL, 10) << 9);
    strcpy(file, "vendor");
    read_word(AT_FDCWD, path, disk->vendor, 32);
    strcpy(file, "model");
    read_word(AT_FDCWD, path, disk->model, 32);
}

static struct answer disks(const char* argument, unsigned char* buffer) {
    struct disk* disk = (struct disk*)buffer;
    char path[160], target[32], initiator_name[256] = "", target_name[256] = "";
    if (installed() + running() != 2) return (struct answer){183, 0, 0};
    const int length = snprintf(path, sizeof path, "/sys/class/iscsi_session/session%s/targetname", argument);
    char* file = path + length - strlen("targetname");
    if (!read_word(AT_FDCWD, path, target_name, sizeof target_name)) return (struct answer){166, 0, 0};
    strcpy(file, "device");
    first_entry(AT_FDCWD, path, "target", target, sizeof target);
    snprintf(file, 64, "device/%s", target);
    close(open_listed(&names, AT_FDCWD, path, ""));
    read_initiator_name(initiator_name);
    unsigned int count = 0;
    for (size_t i = 0; i < names.count; ++i) {
        if (strchr(names.names[i], ':') == NULL) continue;
        memset(disk, 0, sizeof *disk);
        read_disk(names.names[i], disk);
        memcpy(disk->initiator_name, initiator_name, sizeof initiator_name);
        memcpy(disk->target_name, target_name, sizeof target_name);
        ++disk, ++count;
    }
    return (struct answer){success, count, (unsigned int)(count * sizeof *disk)};
}

const struct operation operations[] = {
    {"check", check},
    {"sessions", sessions},
    {"disks", disks},
    {"targets", targets},
    {"property", property},
    {"globals", globals},
    {"initiators", initiators},
    {"groups", groups},
    {"portals", portals},
    {"connections", connections},
    {"set", set},
    {NULL, NULL},
};
