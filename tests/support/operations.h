// Every operation in situations of its own, and what it then does: one table for all tests that go through
// it.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "kvlinopinitr/open_initiator.h"

namespace operations {

/// What the caller sets count and bytes to beforehand.
inline constexpr unsigned int untouched = 77;

/// The arguments of one call.
struct Call {
    OpenInitiator& o;
    unsigned char* buffer;  // null: the caller wants no list
    int index = 1;
    unsigned int count = untouched, bytes = untouched;
};

/// Whether the message of the status goes into the log and into err_msg, or neither is touched.
enum Log : bool { silent, logged };

struct Outcome {
    unsigned int status;
    std::vector<std::string> commands = {};
    Log log = silent;
    unsigned int count = untouched, bytes = untouched;
    /// What stands in the buffer, as "OFFSET=TEXT|OFFSET=TEXT"; "*" for a pointer. Every other byte is zero.
    std::string content = {};
};

/// What the checks answer, 0 where there is none: to index 2, on a host without the stack, and on one where
/// it is stopped.
struct Checks {
    unsigned int wrong_index, not_installed, stopped;
};

struct Operation {
    const char* name;  // OPERATION or OPERATION_SITUATION
    unsigned int (*call)(Call&);
    Outcome healthy;
    /// Alters the populated host, and takes back what the call changed.
    void (*situation)() = [] {};
    /// Codes that it may answer too when something fails on the way; none: it is not swept.
    std::vector<unsigned int> sick = {};
    std::optional<Checks> checks = {};

    friend std::ostream& operator<<(std::ostream& out, const Operation& item) { return out << item.name; }
};

extern const std::vector<Operation> table;

/// The whole of a buffer after a call, by the description of its content and the pointers that are there,
/// with what the caller filled it with behind it.
std::string expected_buffer(const Outcome& outcome, const std::string& actual);
inline constexpr char filling = '\xAA';

/// A host with settings, two sessions, and the databases of four portals.
void populate_host();

// What the situations of the table are made of.
inline const std::string initiator = "iqn.2024-01.example.host:initiator";
inline const std::string send_targets = "/var/lib/iscsi/send_targets/";
void add_targets(const std::string& portal, const std::string& letters);
void new_settings(const std::string& in_between = {});

}  // namespace operations
