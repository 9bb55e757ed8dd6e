/* What the answers cost at least: plain C that makes the system calls an answer needs and no others, for a
 * host that is in order. It takes a daemon's word for where it runs, sees no broken file, and knows what
 * fits. */
#include <dirent.h>
#include <fcntl.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/utsname.h>
#include <unistd.h>

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

enum { success = 0, property_end = 78 };

static const char discovery_database[] = "/var/lib/iscsi/send_targets";
static const char settings_file[] = "/etc/iscsi/iscsid.conf";

/* ---- Files ---- */

/* As much as fits, in one read; -1 when the file cannot be opened. */
static ssize_t read_file(int at, const char* path, int flags, char* text, size_t size) {
    const int file = openat(at, path, flags | O_CLOEXEC);
    if (file < 0) return -1;
    const ssize_t length = read(file, text, size - 1);
    close(file);
    text[length > 0 ? length : 0] = '\0';
    return length;
}

/* Into a field of zeros. */
static void copy_word(char* field, size_t size, const char* text, const char* separators) {
    const size_t length = strcspn(text, separators);
    memcpy(field, text, length < size ? length : size - 1);
}

static bool read_word(int at, const char* path, char* word, size_t size) {
    char text[1025];
    if (read_file(at, path, O_RDONLY, text, sizeof text) < 0) return false;
    copy_word(word, size, text, " \n");
    return true;
}

struct listing {
    size_t count, used;
    const char* names[1 << 14];
    char bytes[1 << 21];
};

static int in_version_order(const void* left, const void* right) {
    return strverscmp(*(const char* const*)left, *(const char* const*)right);
}

/* The names that begin with `prefix`, but neither dot entries nor discovery settings. */
static void list(struct listing* listing, int directory, const char* prefix) {
    const size_t prefix_length = strlen(prefix);
    ssize_t size;
    listing->count = listing->used = 0;
    while ((size = getdents64(directory, listing->bytes + listing->used,
                              sizeof listing->bytes - listing->used)) > 0) {
        const char* end = listing->bytes + listing->used + size;
        for (char* at = listing->bytes + listing->used; at < end; at += ((struct dirent64*)at)->d_reclen) {
            const char* name = ((struct dirent64*)at)->d_name;
            if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0 || strcmp(name, "st_config") == 0) continue;
            if (strncmp(name, prefix, prefix_length) == 0) listing->names[listing->count++] = name;
        }
        listing->used += (size_t)size;
    }
    qsort(listing->names, listing->count, sizeof listing->names[0], in_version_order);
}

/* The open directory, listed. */
static int open_listed(struct listing* listing, int at, const char* path, const char* prefix) {
    const int directory = openat(at, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    list(listing, directory, prefix);
    return directory;
}

/* The first entry that begins with `prefix`, without looking at what lies behind it. */
static void first_entry(int at, const char* path, const char* prefix, char* name, size_t size) {
    char bytes[4096];
    const int directory = openat(at, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const ssize_t filled = getdents64(directory, bytes, sizeof bytes);
    close(directory);
    memset(name, 0, size);
    for (ssize_t at_entry = 0; at_entry < filled;) {
        const struct dirent64* entry = (const struct dirent64*)(bytes + at_entry);
        at_entry += entry->d_reclen;
        if (entry->d_name[0] == '.' || strncmp(entry->d_name, prefix, strlen(prefix)) != 0) continue;
        copy_word(name, size, entry->d_name, "");
        return;
    }
}

static void parse_address(const char* text, unsigned char* bytes) {
    for (; *text >= '0' && *text <= '9'; text += *text == '.') {
        *bytes++ = (unsigned char)strtoul(text, (char**)&text, 10);
    }
}

/* ---- Checks ---- */

static unsigned int installed(void) {
    struct utsname kernel;
    char module[160];
    const int settings = open(settings_file, O_RDONLY | O_CLOEXEC);
    if (settings < 0) return 0;
    close(settings);
    uname(&kernel);
    snprintf(module, sizeof module, "/lib/modules/%s/kernel/drivers/scsi/iscsi_tcp.ko", kernel.release);
    return access(module, F_OK) == 0;
}

static unsigned int running(void) {
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

static int open_classes(void) {
    return open("/sys/class", O_PATH | O_CLOEXEC);
}

/* As a record carries it: one byte. */
static int session_number(const char* name) {
    return atoi(name + strlen("session")) & 255;
}

static void read_target_name(int classes, const char* session, char* name) {
    char path[128];
    snprintf(path, sizeof path, "iscsi_session/%s/targetname", session);
    read_word(classes, path, name, 256);
}

static void read_portal(int classes, int number, struct connection* connection) {
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

static void read_initiator_name(char* name) {
    char text[4096];
    read_file(AT_FDCWD, "/etc/iscsi/initiatorname.iscsi", O_RDWR, text, sizeof text);
    const char* line = strstr(text, "\nInitiatorName=");
    line = line != NULL ? line + 1 : text;
    copy_word(name, 256, line + strlen("InitiatorName="), " \n");
}

static struct listing names; /* of sessions, LUNs or portals */

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

/* ---- Targets ---- */

/* Which targets are logged in where: "NAME ADDRESS PORT", in a table that is found by hash. */
static char logged_in[1024][320];

static char* slot(const char* key) {
    uint32_t hash = 2166136261;
    for (const char* at = key; *at != '\0'; ++at) hash = (hash ^ (unsigned char)*at) * 16777619;
    while (logged_in[hash & 1023][0] != '\0' && strcmp(logged_in[hash & 1023], key) != 0) ++hash;
    return logged_in[hash & 1023];
}

static void read_logged_in(void) {
    char key[320], name[256];
    memset(logged_in, 0, sizeof logged_in);
    const int classes = open_classes();
    close(open_listed(&names, classes, "iscsi_session", ""));
    for (size_t i = 0; i < names.count; ++i) {
        struct connection connection = {0};
        memset(name, 0, sizeof name);
        read_target_name(classes, names.names[i], name);
        read_portal(classes, session_number(names.names[i]), &connection);
        snprintf(key, sizeof key, "%s %u.%u.%u.%u %u", name, connection.target[0], connection.target[1],
                 connection.target[2], connection.target[3], connection.port);
        strcpy(slot(key), key);
    }
    close(classes);
}

/* Splits "NAME,ADDRESS,PORT,TAG,INTERFACE" in place. */
struct entry {
    char *name, *address, *port, *tag;
};

static struct entry split(char* text) {
    struct entry entry;
    entry.name = strsep(&text, ",");
    entry.address = strsep(&text, ",");
    entry.port = strsep(&text, ",");
    entry.tag = strsep(&text, ",");
    return entry;
}

static unsigned char starts_automatically(const char* name, const struct entry* portal) {
    char path[512], text[4096];
    snprintf(path, sizeof path, "/var/lib/iscsi/nodes/%s/%s,%s,%s/default", name, portal->address,
             portal->port, portal->tag);
    if (read_file(AT_FDCWD, path, O_RDWR, text, sizeof text) < 0) return 0;
    const char* line = strstr(text, "\nnode.startup");
    return line != NULL && strncmp(line, "\nnode.startup = automatic", 25) == 0;
}

static struct listing entries;

static struct target* add_targets(int database, const char* portal, struct target* target) {
    struct target* const first = target;
    struct entry entry = {0};
    char key[320];
    close(open_listed(&entries, database, portal, ""));
    for (size_t i = 0; i < entries.count; ++i) {
        entry = split((char*)entries.names[i]);
        if (target != first && strcmp(target[-1].name, entry.name) == 0) continue;
        memset(target, 0, sizeof *target);
        strcpy(target->name, entry.name);
        strcpy(target->info, "NOT AVAILABLE");
        target->node_index = 1;
        ++target;
    }
    for (struct target* record = first; record != target; ++record) {
        record->persistent = starts_automatically(record->name, &entry);
        snprintf(key, sizeof key, "%s %s %s", record->name, entry.address, entry.port);
        record->logged_in = slot(key)[0] != '\0';
    }
    return target;
}

static struct answer targets(const char* unused, unsigned char* buffer) {
    struct target* target = (struct target*)buffer;
    (void)unused;
    read_logged_in();
    const int database = open_listed(&names, AT_FDCWD, discovery_database, "");
    for (size_t i = 0; i < names.count; ++i) target = add_targets(database, names.names[i], target);
    close(database);
    return (struct answer){success, 0, (unsigned int)((unsigned char*)target - buffer)};
}

/* Every portal's directory is listed, since one that is empty has its discovery record deleted. */
static struct answer portals_of(const char* name, unsigned char* buffer) {
    struct portal* portal = (struct portal*)buffer;
    char prefix[257], initiator_name[256] = "";
    read_initiator_name(initiator_name);
    if (initiator_name[0] == '\0') return (struct answer){191, 0, 0};
    snprintf(prefix, sizeof prefix, "%s,", name);
    const int database = open_listed(&names, AT_FDCWD, discovery_database, "");
    for (size_t i = 0; i < names.count; ++i) {
        close(open_listed(&entries, database, names.names[i], prefix));
        if ((unsigned char*)portal != buffer) continue;
        for (size_t j = 0; j < entries.count; ++j, ++portal) {
            const struct entry entry = split((char*)entries.names[j]);
            memset(portal, 0, sizeof *portal);
            copy_word(portal->address, sizeof portal->address, entry.address, "");
            portal->tag = (unsigned char)atoi(entry.tag);
            portal->port = (uint32_t)atoi(entry.port);
            parse_address(entry.address, (unsigned char*)portal->address);
        }
    }
    close(database);
    return (struct answer){success, 0, (unsigned int)((unsigned char*)portal - buffer)};
}

static struct answer groups(const char* name, unsigned char* buffer) {
    if (installed() + running() != 2) return (struct answer){183, 0, 0};
    return portals_of(name, buffer);
}

static struct answer portals(const char* name, unsigned char* buffer) {
    installed();
    return portals_of(name, buffer);
}

/* ---- Settings ---- */

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
    read_file(AT_FDCWD, settings_file, O_RDWR, settings, sizeof settings);
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

static struct answer property(const char* unused, unsigned char* buffer) {
    (void)unused;
    if (!installed()) return (struct answer){182, 0, 0};
    const unsigned int count = read_properties((struct property*)buffer);
    return (struct answer){success, 0, (unsigned int)(count * sizeof(struct property))};
}

/* The answer is the same, and a flag that agents see is probed. */
static struct answer globals(const char* unused, unsigned char* buffer) {
    running();
    return property(unused, buffer);
}

static struct answer initiators(const char* unused, unsigned char* buffer) {
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
static struct answer set(const char* unused, unsigned char* buffer) {
    static const char temporary[] = "/tmp/tmpiscsidconf.txt", key[] = "\nnode.conn[0].timeo.login_timeout = ";
    static char text[sizeof settings + 64];
    (void)unused, (void)buffer;
    if (!installed()) return (struct answer){182, 0, 0};
    const int copy = open(temporary, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const int file = open(settings_file, O_RDWR | O_CLOEXEC);
    const ssize_t old_size = read(file, settings, sizeof settings - 1);
    settings[old_size] = '\0';
    char* value = strstr(settings, key) + strlen(key);
    const int size =
        snprintf(text, sizeof text, "%.*s30%s", (int)(value - settings), settings, strchr(value, '\n'));
    const bool written =
        write(copy, text, (size_t)size) == size && pwrite(file, text, (size_t)size, 0) == size;
    if (size < old_size && ftruncate(file, size) != 0) return (struct answer){1, 0, 0};
    const bool kept = fsync(file) == 0;
    close(file);
    close(copy);
    unlink(temporary);
    return (struct answer){written && kept ? success : 1, 0, 0};
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
