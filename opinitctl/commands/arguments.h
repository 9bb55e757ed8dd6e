// Arguments that several commands take.
#pragma once

#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "commands/command_line.h"
#include "host/portal.h"

namespace opinitctl {

/// A value of an argument that outlives the reading of the command line.
template <class Value>
using Given = std::shared_ptr<Value>;

inline Given<std::string> add_required(const CommandLine& command, const std::string& name,
                                       const std::string& description) {
    const auto value = std::make_shared<std::string>();
    command.add(name, into(*value), description).required();
    return value;
}

inline Reader into(Portal& portal) {
    return [&portal](const std::string& word) { portal = portal_in(word); };
}

/// A session, as sysfs numbers them; none for all.
inline Given<std::optional<unsigned int>> add_session_number(const CommandLine& command) {
    const auto number = std::make_shared<std::optional<unsigned int>>();
    const auto reader = [number](const std::string& word) {
        *number = number_from(0, std::numeric_limits<std::int32_t>::max(), word);
    };
    command.add("SESSION", reader, "Number of the session");
    return number;
}

/// Seconds, zero for no limit.
inline void add_time_limit(const CommandLine& command, unsigned int& seconds) {
    const auto reader = [&seconds](const std::string& word) { seconds = number_from(1, 86400, word); };
    command.add("--timeout SECONDS", reader, "Give up after so many seconds");
}

}  // namespace opinitctl
