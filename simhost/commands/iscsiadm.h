#pragma once

#include <optional>
#include <string>

#include "node_database.h"

namespace simhost {

// One call of iscsiadm, taken apart.
struct Request {
    std::string mode;
    std::optional<std::string> type;
    std::optional<std::string> operation;
    std::optional<std::string> name;
    std::optional<std::string> value;
    std::optional<std::string> session;
    std::optional<std::string> login_all;
    std::optional<std::string> logout_all;
    NodeFilter nodes;
    bool login = false;
    bool logout = false;
};

int discovery_mode(const Request& request);
int node_mode(const Request& request);
int session_mode(const Request& request);

// Logs out of the sessions of these nodes.
int logout_of(const NodeFilter& nodes);

// Prints "iscsiadm: TEXT" on standard error.
void complain(const std::string& text);

// For what no mode knows.
[[noreturn]] void refuse(const Request& request);

}  // namespace simhost
