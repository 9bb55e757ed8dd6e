// What the doctor looks at: each thing with what is wrong with it and what helps.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "shown/names.h"
#include "shown/output.h"

namespace opinitctl::doctor {

enum class Result { ok, note, problem };

/// A change to the host that can be undone.
struct Fix {
    std::string what;             ///< as in "WHAT? [y/N]"
    std::string undo;             ///< the command that takes it back
    std::function<void()> apply;  ///< throws where it cannot
};

struct Check {
    std::string name;
    Result result;
    std::string finding;
    std::string remedy = {};
    std::optional<Fix> fix = {};
    std::string done = {};  ///< where it was mended: what was done
};

using Checks = std::vector<Check>;

// Each in the order in which the things are needed.
Checks examine_stack();     ///< files, module, daemon, and the answer they give
Checks examine_start();     ///< what start and stop need
Checks examine_settings();  ///< the initiator's name and iscsid.conf
Checks examine_rights();    ///< who may read and change settings and records
Checks examine_commands();  ///< what running commands and capturing their output needs
Checks examine_sessions();  ///< live sessions that are not what they seem

/// Prints a paragraph for each, wrapped to the terminal's width; or JSON.
void report(const Checks& checks, const Output& output);

/// `wrong`, some of what it is about at the end of its finding, or that all is fine where that is nothing.
Check verdict(Check wrong, Names about, const std::string& fine);

inline Check ok(const std::string& name, const std::string& finding) {
    return {name, Result::ok, finding};
}

}  // namespace opinitctl::doctor
