#pragma once

#include <string>
#include <vector>

#include "node_database.h"

namespace simhost {

// Log in with, or out of, all of these and print what iscsiadm prints. Return iscsiadm's exit code: that of
// the first failure.
int login_all(const std::vector<Node>& nodes);

// "initiator reported error (24 - iSCSI login failed due to authorization failure)"
std::string reported_error(int code);

}  // namespace simhost
