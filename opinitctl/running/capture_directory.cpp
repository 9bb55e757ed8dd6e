#include "running/capture_directory.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "kvlinopinitr/open_initiator_functions.h"

namespace opinitctl {
namespace {

/// A full or read-only /tmp must not stop whoever wants to log out.
std::string new_directory() {
    std::error_code no_directory;
    const std::string usual = std::filesystem::temp_directory_path(no_directory).string();
    for (const std::string& parent : {usual, std::string("/tmp"), std::string("/run")}) {
        std::string path = parent + "/opinitctl.XXXXXX";
        if (!parent.empty() && mkdtemp(path.data()) != nullptr) return path;
    }
    throw std::system_error(errno, std::generic_category(), "cannot make a directory for captured output");
}

}  // namespace

CaptureDirectory::CaptureDirectory() : path_(new_directory()), file_before_(tmperrfile) {
    file_ = path_ + "/output";
    tmperrfile = file_.c_str();
}

CaptureDirectory::~CaptureDirectory() {
    tmperrfile = file_before_;
    unlink(file_.c_str());
    rmdir(path_.c_str());
}

bool CaptureDirectory::captures(const std::string& command) const {
    return command.find("1&>") != command.npos && command.find(path_) != command.npos;
}

std::string CaptureDirectory::captured() const {
    std::ifstream file(file_);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace opinitctl
