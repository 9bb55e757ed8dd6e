#pragma once

#include <unistd.h>

#include <utility>

namespace simhost {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    ~UniqueFd() {
        if (fd_ >= 0) close(fd_);
    }

    int get() const { return fd_; }

private:
    int fd_ = -1;
};

}  // namespace simhost
