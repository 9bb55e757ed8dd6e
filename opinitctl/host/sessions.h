// The live sessions as the kernel shows them: whole numbers, addresses of any kind, the state. They are there
// whether or not the daemon runs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "errors.h"
#include "shown/output.h"

namespace opinitctl {

/// What the kernel does not tell is empty.
struct Session {
    unsigned int number;
    std::string target;
    std::string portal;             ///< the configured one while there is no connection
    std::string configured_portal;  ///< from which the target may have sent the initiator on
    std::optional<unsigned int> group_tag;
    std::string state;  ///< such as logged_in, failed, free
    std::string initiator_address;
    std::string initiator_name;  ///< under which it was made
    unsigned int connections;
    std::string connection_state;
    std::string header_digest;
    std::string data_digest;
};

using Sessions = std::vector<Session>;

/// In the order of their numbers. A Failure where they cannot be listed.
Sessions live_sessions();
Sessions sessions_to(const std::string& target);
/// A Failure where there is none of that number.
Session live_session(unsigned int number);

/// The numbers of all, without a look into them.
std::vector<unsigned int> session_numbers();
bool session_exists(unsigned int number);

/// What stands below a session's entry, as in "device".
std::string session_path(unsigned int number, const std::string& below);

const Columns<Session>& session_columns();
const Columns<Session>& connection_columns();

/// Whether the interface can name the session: it carries the low 8 bits of its number.
bool can_be_named(unsigned int number);

Failure no_such_session(unsigned int number);

}  // namespace opinitctl
