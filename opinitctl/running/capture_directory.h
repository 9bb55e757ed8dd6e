// Where the library captures what its commands print.
#pragma once

#include <string>

namespace opinitctl {

/// A directory of our own in the place of the library's fixed path, which every user of the host knows. It
/// lives as long as the object, and `tmperrfile` names a file in it.
class CaptureDirectory {
public:
    CaptureDirectory();
    ~CaptureDirectory();
    CaptureDirectory(const CaptureDirectory&) = delete;
    CaptureDirectory& operator=(const CaptureDirectory&) = delete;

    /// Whether the command's output is captured rather than printed.
    bool captures(const std::string& command) const;

    std::string captured() const;

private:
    std::string path_;
    std::string file_;
    const char* file_before_;
};

}  // namespace opinitctl
