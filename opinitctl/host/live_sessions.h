// The live sessions, for every command that has to do with them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "errors.h"
#include "kvlinopinitr/iscsi_initiator.h"
#include "shown/output.h"

namespace opinitctl {

/// What the library lists, with what its records cannot carry: numbers above 255, IPv6 addresses, the state.
struct Session {
    unsigned int number;
    std::string target;
    std::string portal;  ///< empty where it is not known
    std::optional<unsigned int> group_tag;
    std::string state;
    std::string initiator_address;
    std::string initiator_name;  ///< under which it was made
    unsigned int connections;
};

std::vector<Session> live_sessions(ISCSI_Initiator& initiator);
std::vector<Session> sessions_to(const std::string& target, std::vector<Session> sessions);

const Columns<Session>& session_columns();

/// Whether the interface can name the session: it carries the low 8 bits of its number.
bool can_be_named(unsigned int number);

Failure no_such_session(unsigned int number);

}  // namespace opinitctl
