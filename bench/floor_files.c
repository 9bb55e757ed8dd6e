#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "bench/floor.h"

ssize_t read_file(int at, const char* path, int flags, char* text, size_t size) {
    const int file = openat(at, path, flags | O_CLOEXEC);
    if (file < 0) return -1;
    const ssize_t length = read(file, text, size - 1);
    close(file);
    text[length > 0 ? length : 0] = '\0';
    return length;
}

void copy_word(char* field, size_t size, const char* text, const char* separators) {
    const size_t length = strcspn(text, separators);
    memcpy(field, text, length < size ? length : size - 1);
}

bool read_word(int at, const char* path, char* word, size_t size) {
    char text[1025];
    if (read_file(at, path, O_RDONLY, text, sizeof text) < 0) return false;
    copy_word(word, size, text, " \n");
    return true;
}

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

int open_listed(struct listing* listing, int at, const char* path, const char* prefix) {
    const int directory = openat(at, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    list(listing, directory, prefix);
    return directory;
}

void first_entry(int at, const char* path, const char* prefix, char* name, size_t size) {
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
