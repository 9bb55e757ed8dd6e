// Changes that the doctor offers.
#pragma once

#include <string>

#include "doctor/check.h"

namespace opinitctl::doctor {

/// Starts the stack by the interface.
Fix start_stack();

/// Ends a daemon that does not answer, and starts the stack.
Fix replace_daemon(const std::string& process);

/// A name of its own for an initiator that has none; nothing where the host cannot make one.
std::optional<Fix> name_initiator(const std::string& name_file);

/// Makes the link, or turns it elsewhere in one step.
Fix make_link(const std::string& path, const std::string& target);

Fix create_empty(const std::string& path);

/// Adds to the permissions of files or directories, or takes from them.
Fix change_mode(const std::vector<std::string>& paths, unsigned int add, unsigned int take);

}  // namespace opinitctl::doctor
