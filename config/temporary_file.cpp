#include "config/temporary_file.h"

#include <unistd.h>

namespace opinit {
namespace {

const char* without_stale_file(const char* path) {
    ::unlink(path);
    return path;
}

}  // namespace

TemporaryFile::TemporaryFile() : file_{without_stale_file(path), Access::create_anew} {}

TemporaryFile::~TemporaryFile() {
    if (file_) ::unlink(path);
}

}  // namespace opinit
