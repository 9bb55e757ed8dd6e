#include "config/temporary_file.h"

#include <unistd.h>

namespace opinit {

TemporaryFile::TemporaryFile() : file_{path, Access::create_anew} {}

TemporaryFile::~TemporaryFile() {
    if (file_) ::unlink(path);
}

}  // namespace opinit
