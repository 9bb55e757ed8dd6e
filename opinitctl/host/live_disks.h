// LUNs of live sessions and the disks behind them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kvlinopinitr/iscsi_initiator.h"
#include "shown/output.h"

namespace opinitctl {

struct Disk {
    unsigned int session;
    unsigned int lun;
    std::string device;  ///< kernel name, empty without a block device
    std::optional<std::uint64_t> size;
    std::string vendor;
    std::string model;
    std::string scsi_address;
    std::string state;
    std::string target;
};

std::vector<Disk> disks_of(ISCSI_Initiator& initiator, unsigned int session);

const Columns<Disk>& disk_columns();

}  // namespace opinitctl
