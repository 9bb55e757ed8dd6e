#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "bench/floor.h"

static const char discovery_database[] = "/var/lib/iscsi/send_targets";

static struct listing names; /* of sessions or portals */

/* Sessions by the hash of their target's name. Where one goes is read when its target is listed. */
static struct live {
    char target[256], portal[64];
    int number;
    struct live* next;
} sessions[1024], *buckets[1024];

static struct live** bucket(const char* target) {
    uint32_t hash = 2166136261;
    for (const char* at = target; *at != '\0'; ++at) hash = (hash ^ (unsigned char)*at) * 16777619;
    return &buckets[hash & 1023];
}

static void read_sessions(int classes) {
    memset(buckets, 0, sizeof buckets);
    close(open_listed(&names, classes, "iscsi_session", ""));
    for (size_t i = 0; i < names.count; ++i) {
        struct live* const session = &sessions[i];
        memset(session, 0, sizeof *session);
        read_target_name(classes, names.names[i], session->target);
        session->number = session_number(names.names[i]);
        session->next = *bucket(session->target);
        *bucket(session->target) = session;
    }
}

static const char* portal_of(int classes, struct live* session) {
    struct connection connection = {0};
    if (session->portal[0] != '\0') return session->portal;
    read_portal(classes, session->number, &connection);
    snprintf(session->portal, sizeof session->portal, "%u.%u.%u.%u %u", connection.target[0], connection.target[1],
             connection.target[2], connection.target[3], connection.port);
    return session->portal;
}

static unsigned char logged_in(int classes, const char* target, const char* portal) {
    for (struct live* session = *bucket(target); session != NULL; session = session->next) {
        if (strcmp(session->target, target) == 0 && strcmp(portal_of(classes, session), portal) == 0) return 1;
    }
    return 0;
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

static struct target* add_targets(int database, int classes, const char* portal, struct target* target) {
    struct target* const first = target;
    struct entry entry = {"", "", "", ""};
    char where[64];
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
    snprintf(where, sizeof where, "%s %s", entry.address, entry.port);
    for (struct target* record = first; record != target; ++record) {
        record->persistent = starts_automatically(record->name, &entry);
        record->logged_in = logged_in(classes, record->name, where);
    }
    return target;
}

struct answer targets(const char* unused, unsigned char* buffer) {
    struct target* target = (struct target*)buffer;
    (void)unused;
    const int classes = open_classes();
    read_sessions(classes);
    const int database = open_listed(&names, AT_FDCWD, discovery_database, "");
    for (size_t i = 0; i < names.count; ++i) target = add_targets(database, classes, names.names[i], target);
    close(database);
    close(classes);
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

struct answer groups(const char* name, unsigned char* buffer) {
    if (installed() + running() != 2) return (struct answer){183, 0, 0};
    return portals_of(name, buffer);
}

struct answer portals(const char* name, unsigned char* buffer) {
    installed();
    return portals_of(name, buffer);
}
