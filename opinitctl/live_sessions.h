// The live sessions, for every command that has to do with them.
#pragma once

#include <string>
#include <vector>

#include "kvlinopinitr/iscsi_initiator.h"
#include "kvlinopinitr/iscsi_records.h"
#include "output.h"
#include "portal.h"

namespace opinitctl {

/// What a session number argument may be where the interface takes a session identifier, which carries the
/// low 8 bits of the number only: a greater number would name another session.
inline constexpr const char* session_description =
    "Session number, 0 to 255: the interface carries its low 8 bits only";

std::vector<_SessionInformation> live_sessions(ISCSI_Initiator& initiator);

/// The 16 bytes that name a session to the interface.
std::array<unsigned char, 16> session_identifier(const std::string& number);

bool leads_to(const _SessionInformation& session, const Portal& portal);

const Columns<_SessionInformation>& session_columns();

/// Null while it is all zero, which is how the interface says that it is not known.
Json known_address(const unsigned char* address);

}  // namespace opinitctl
