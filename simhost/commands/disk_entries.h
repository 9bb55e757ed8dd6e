#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "session_entries.h"

namespace simhost {

// The SCSI target below a session with its LUNs and their disks; no target where there is no LUN.
void add_luns(const std::vector<Lun>& luns, const std::filesystem::path& session, const std::string& host);

}  // namespace simhost
