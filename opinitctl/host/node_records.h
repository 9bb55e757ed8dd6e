// open-iscsi's databases as they stand on the host: what discovery recorded, with addresses of any kind.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/portal.h"
#include "kvlinopinitr/iscsi_records.h"
#include "shown/names.h"
#include "shown/output.h"

namespace opinitctl {

/// A portal of a target, as a node record or a discovery names it.
struct TargetPortal {
    std::string target;
    std::string portal;
    std::optional<unsigned int> group_tag;
    std::string record = "";  ///< the node record, a file or a directory with a file for each interface

    bool operator==(const TargetPortal&) const = default;
};

/// All node records, by target.
std::vector<TargetPortal> node_records();
std::vector<TargetPortal> node_records_at(const Portal& portal);
std::vector<TargetPortal> portals_to(const std::string& target, std::vector<TargetPortal> records);

/// The targets' names, each once.
Names targets_of(const std::vector<TargetPortal>& records);

/// In the order of an answer of the library, each once: it names a target again for every discovery that
/// found it.
Names names_of(const std::vector<_TargetInformation>& records);

/// What the last discovery at the portal found, by target.
std::vector<TargetPortal> discovered_at(const Portal& portal);

bool starts_automatically(const TargetPortal& record);

const Columns<TargetPortal>& target_portal_columns();

}  // namespace opinitctl
