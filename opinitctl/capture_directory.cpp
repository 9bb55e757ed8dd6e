#include "capture_directory.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "kvlinopinitr/open_initiator_functions.h"

namespace opinitctl {

CaptureDirectory::CaptureDirectory()
    : path_(std::filesystem::temp_directory_path() / "opinitctl.XXXXXX"), file_before_(tmperrfile) {
    if (mkdtemp(path_.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make the directory " + path_);
    }
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
