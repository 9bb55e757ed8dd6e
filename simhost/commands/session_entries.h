#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "portal.h"

// The kernel's side of a session: its entries in sysfs, in the form that /run/simhost/sysfs-form names.

namespace simhost {

struct Lun {
    unsigned number = 0;
    std::uint64_t size_bytes = 0;  // 0: a LUN without a block device, such as a controller
    std::string vendor;
    std::string model;
};

struct SessionDetails {
    std::string target;
    int tag = 1;
    Portal portal;
    std::string initiator_address;
    std::string initiator_name;
    // Empty ones read "(null)".
    std::string username;
    std::string password;
    std::string username_in;
    std::string password_in;
    bool header_digest = false;
    bool data_digest = false;
    std::vector<Lun> luns;
    // The next session number and the lowest free host number where these are not given.
    std::optional<unsigned> sid;
    std::optional<unsigned> host;
};

// Uses up one session number: an attempt that fails later has one too.
unsigned take_session_number();

// Returns the session's number; throws Failure where a number that was asked for is in use.
unsigned create_session(const SessionDetails& details);

// False where there is no such session.
bool remove_session(unsigned sid);

}  // namespace simhost
