#include "commands/replaced_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace opinitctl {
namespace {

class TemporaryFile {
public:
    /// Beside the file that it is for, hidden, and not of its kind to whoever goes by the end of the name.
    explicit TemporaryFile(const std::string& path) {
        const std::size_t name = path.rfind('/') + 1;
        path_ = path.substr(0, name) + '.' + path.substr(name) + ".XXXXXX";
        fd_ = mkostemp(path_.data(), O_CLOEXEC);
    }
    ~TemporaryFile() {
        if (fd_ >= 0) close(fd_);
        if (fd_ >= 0 && !kept_) unlink(path_.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    bool write_all(const std::string& content) const {
        if (fd_ < 0) return false;
        for (std::size_t written = 0; written < content.size();) {
            const ssize_t count = write(fd_, content.data() + written, content.size() - written);
            if (count < 0) return false;
            written += static_cast<std::size_t>(count);
        }
        return fchmod(fd_, 0644) == 0;
    }
    bool move_to(const std::string& path) {
        kept_ = std::rename(path_.c_str(), path.c_str()) == 0;
        return kept_;
    }

private:
    std::string path_;
    int fd_ = -1;
    bool kept_ = false;
};

}  // namespace

void replace_file(const std::string& path, const std::string& content) {
    TemporaryFile file(path);
    if (!file.write_all(content) || !file.move_to(path)) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + path);
    }
}

}  // namespace opinitctl
