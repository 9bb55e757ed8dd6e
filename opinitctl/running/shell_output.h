// What a shell command prints.
#pragma once

#include <cstdio>
#include <memory>

namespace opinitctl {

struct CloseShell {
    void operator()(FILE* output) const { pclose(output); }
};
using ShellOutput = std::unique_ptr<FILE, CloseShell>;

}  // namespace opinitctl
