#include "config/temporary_file.h"

#include <unistd.h>

#include <cstdio>

namespace opinit {
namespace {

/// A stale file is never reused, nor followed where it is a link; an empty directory goes too.
const char* without_stale_file(const char* path) {
    std::remove(path);
    return path;
}

}  // namespace

TemporaryFile::TemporaryFile() : file_{without_stale_file(path), Access::create_anew} {}

TemporaryFile::~TemporaryFile() {
    if (file_) ::unlink(path);
}

}  // namespace opinit
