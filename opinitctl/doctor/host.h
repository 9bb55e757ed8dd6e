// Questions to the host that several checks ask.
#pragma once

#include <string>

namespace opinitctl::doctor {

bool exists(const std::string& path);
bool is_executable(const std::string& path);
bool is_root();

/// 0, or why the file cannot be opened so.
int open_error(const std::string& path, int mode);

/// "PATH: why", for an error of the system.
std::string reason(const std::string& path, int error);

/// What helps against an error of open_error(), or `otherwise`.
std::string remedy_for(int error, const std::string& path, const std::string& otherwise);

/// The release of the running kernel.
std::string kernel_release();

/// The program's path by PATH, or an empty text.
std::string find_program(const std::string& name);

bool systemd_runs_the_host();

/// What start and stop answer because of the distribution: 0 where they know what to run.
int start_refusal(int& distribution_code);

}  // namespace opinitctl::doctor
