// The live sessions as the kernel shows them: what the interface's records leave out or cut short.
#pragma once

#include <string>
#include <vector>

namespace opinitctl {

struct SysfsSession {
    unsigned int number;  ///< all of it, not its low 8 bits
    std::string target;
    std::string initiator_name;
    std::string state;  ///< such as logged_in, failed, free
    std::string interface;
    std::string tag;
    std::string address;  ///< IPv4 or IPv6; the configured one while there is no connection
    std::string port;
};

/// In the order of their numbers. What cannot be read, or is not known, is empty.
std::vector<SysfsSession> sysfs_sessions();

SysfsSession sysfs_session(unsigned int number);

/// ADDRESS:PORT, with brackets around an IPv6 address; empty where it is not known.
std::string portal_text(const SysfsSession& session);

/// The numbers of all, without a look into them.
std::vector<unsigned int> session_numbers();
bool session_exists(unsigned int number);

/// Attributes of the session's first connection and of its SCSI host; empty where not known.
std::string connection_attribute(unsigned int number, const std::string& name);
std::string host_attribute(unsigned int number, const std::string& name);

}  // namespace opinitctl
