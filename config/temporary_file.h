// The file through which new settings pass on their way into iscsid.conf.
#pragma once

#include "core/base/host_files.h"

namespace opinit {

/// Holds CHAP secrets, at a path known to everyone: it is created anew, for its owner only, and removed at
/// the end. Tests as false when it cannot be created.
class TemporaryFile {
public:
    static constexpr const char* path = "/tmp/tmpiscsidconf.txt";

    TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    explicit operator bool() const { return static_cast<bool>(file_); }
    const File& file() const { return file_; }

private:
    File file_;
};

}  // namespace opinit
