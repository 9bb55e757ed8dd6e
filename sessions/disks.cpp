// The LUNs of a session and the disks behind them.
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "config/initiator_name.h"
#include "core/base/host_files.h"
#include "core/base/no_exceptions.h"
#include "core/base/record_list.h"
#include "core/base/text.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "sessions/attribute.h"
#include "sessions/block_device.h"
#include "sessions/find_session.h"
#include "sessions/scsi_host.h"

namespace opinit {
namespace {

constexpr std::size_t attribute_limit = 1025;
constexpr int no_session = -2;
constexpr int memory_out = 12;

struct LunAddress {
    int host;
    int channel;
    int target_id;
    int lun;
};

/// Byte 0 of a session identifier, unless the reference is decimal text.
int session_number(const unsigned char* reference) {
    const char* text = reinterpret_cast<const char*>(reference);
    char* end;
    const long number = std::strtol(text, &end, 10);
    return end != text ? static_cast<int>(number) : int{reference[0]};
}

unsigned int find_target_id(const std::string& device) {
    Directory directory{device.c_str()};
    if (!directory) return 0;
    while (const auto entry = directory.next()) {
        if (!entry->name.starts_with("target")) continue;
        unsigned int host, channel, target_id;
        const int numbers = std::sscanf(entry->name.data(), "target%u:%u:%u", &host, &channel, &target_id);
        return numbers == 3 ? target_id : 0;
    }
    return 0;
}

/// Visits the session's LUNs in the order of their numbers until a visit answers false. The number of LUNs
/// visited, or nothing when they cannot be listed.
template <class Visit>
std::optional<unsigned int> scan_session_luns(int session, Visit visit) {
    const std::optional<int> host = get_session_host(session);
    if (!host) return std::nullopt;
    const std::string device = "/sys/class/iscsi_session/session" + std::to_string(session) + "/device/";
    const int target_id = static_cast<int>(find_target_id(device));
    const std::string target = device + "target" + std::to_string(*host) + ":0:" + std::to_string(target_id);
    const auto entries = list_directory(target.c_str(), skip_dot_entries);
    if (!entries) return std::nullopt;

    unsigned int luns = 0;
    for (const std::string& entry : *entries) {
        LunAddress address;
        if (std::sscanf(entry.c_str(), "%d:%d:%d:%d", &address.host, &address.channel, &address.target_id,
                        &address.lun) != 4) {
            continue;
        }
        if (!visit(address)) break;
        ++luns;
    }
    return luns;
}

void fill_disk_info(const LunAddress& address, BlockDeviceFinder& finder, _DiskInformation& disk) {
    disk.Host = static_cast<std::uint8_t>(address.host);
    disk.Channel = static_cast<std::uint8_t>(address.channel);
    disk.TargetId = static_cast<std::uint8_t>(address.target_id);
    disk.Lun = static_cast<std::uint8_t>(address.lun);

    const std::string scsi_device = "/sys/bus/scsi/devices/" + std::to_string(address.host) +
                                    ":0:" + std::to_string(address.target_id) + ":" +
                                    std::to_string(address.lun);
    const std::optional<BlockDevice> block_device = finder.get_block_device(scsi_device);
    if (!block_device) return;
    copy_text(block_device->name, disk.DeviceName);
    const unsigned long long sectors = std::strtoull(block_device->size.substr(0, 31).c_str(), nullptr, 10);
    copy_text(std::to_string(sectors << 9), disk.Size);
    copy_text(Attribute{scsi_device + "/vendor", attribute_limit}.word().substr(0, 31), disk.Vendor);
    copy_text(Attribute{scsi_device + "/model", attribute_limit}.word().substr(0, 31), disk.Model);
}

/// Fills the list's first record and appends the others; the number of LUNs that found room.
unsigned int get_session_disks(int session, RecordList<_DiskInformation>& disks) {
    BlockDeviceFinder finder;
    _DiskInformation* disk = disks.first();
    const auto luns = scan_session_luns(session, [&](const LunAddress& address) {
        if (disk == nullptr) disk = disks.append();
        if (disk == nullptr) return false;
        fill_disk_info(address, finder, *disk);
        disk = nullptr;
        return true;
    });
    return luns.value_or(0);
}

}  // namespace
}  // namespace opinit

using namespace opinit;

int _QueryDiskCount(const unsigned char* session, unsigned int* count) {
    return without_exceptions(memory_out, [&] {
        const int number = session_number(session);
        if (find_session(number) == 0) return no_session;
        const auto luns = scan_session_luns(number, [](const LunAddress&) { return true; });
        if (luns) *count = *luns;
        return 0;
    });
}

int _QueryDiskList(const char* session, _DiskInformation** list, unsigned int* count) {
    *list = nullptr;
    return without_exceptions(memory_out, [&] {
        const int number = session_number(reinterpret_cast<const unsigned char*>(session));
        char target_name[target_name_size] = {};
        if (find_session(number, &target_name) == 0) return no_session;

        RecordList<_DiskInformation> disks;
        if (disks.append() == nullptr) return memory_out;
        const unsigned int luns = get_session_disks(number, disks);

        char initiator_name[initiator_name_size] = {};
        _GetInitiatorName(initiator_name);
        for (_DiskInformation* disk = disks.first(); disk != nullptr; disk = next_record(disk)) {
            copy_text(field_text(target_name), disk->TargetName);
            std::memcpy(disk->InitiatorName, initiator_name, sizeof initiator_name);
        }
        *count = luns;
        *list = disks.release();
        return 0;
    });
}
