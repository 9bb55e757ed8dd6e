// The LUNs of a session and the disks behind them.
#include <cstdio>
#include <cstdlib>
#include <new>
#include <optional>
#include <string_view>

#include "config/initiator_name.h"
#include "core/base/directory.h"
#include "core/base/no_exceptions.h"
#include "core/base/path.h"
#include "core/base/record_list.h"
#include "core/base/text.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "sessions/attribute.h"
#include "sessions/block_device.h"
#include "sessions/scsi_host.h"
#include "sessions/session_class.h"

namespace opinit {
namespace {

constexpr std::size_t attribute_limit = 1025;
constexpr std::size_t longest_word = 31;
constexpr int no_session = -2;
constexpr int memory_out = 12;

struct LunAddress {
    int host;
    int channel;
    int target_id;
    int lun;
};

/// Byte 0 of a session identifier, unless the reference is decimal text.
int referenced_session(const unsigned char* reference) {
    const char* text = reinterpret_cast<const char*>(reference);
    char* end;
    const long number = std::strtol(text, &end, 10);
    return end != text ? static_cast<int>(number) : int{reference[0]};
}

unsigned int find_target_id(const Path& device) {
    DirectoryRoom room;
    Directory directory{device.c_str(), room.bytes};
    if (!directory) return 0;
    while (const auto entry = directory.next()) {
        if (!entry->name.starts_with("target")) continue;
        unsigned int host, channel, target_id;
        const int numbers = std::sscanf(entry->name.data(), "target%u:%u:%u", &host, &channel, &target_id);
        return numbers == 3 ? target_id : 0;
    }
    return 0;
}

/// Visits the session's LUNs in the order of their numbers. How many there are, or nothing when they cannot
/// be listed.
template <class Visit>
std::optional<unsigned int> scan_session_luns(int session, Visit visit) {
    const std::optional<int> host = get_session_host(session);
    if (!host) return std::nullopt;
    const Path device = Path{session_class}.text("/session").number(session).text("/device/");
    const int target_id = static_cast<int>(find_target_id(device));
    const Path target = Path{device}.text("target").number(*host).text(":0:").number(target_id);
    const Listing entries{target.c_str(), skip_dot_entries};
    if (!entries.complete()) return std::nullopt;

    unsigned int luns = 0;
    for (const std::string_view entry : entries) {
        LunAddress address;
        if (std::sscanf(entry.data(), "%d:%d:%d:%d", &address.host, &address.channel, &address.target_id,
                        &address.lun) != 4) {
            continue;
        }
        visit(address);
        ++luns;
    }
    return luns;
}

template <std::size_t size>
void copy_first_word(const Path& attribute, char (&field)[size]) {
    copy_text(Attribute{attribute.c_str(), attribute_limit}.word().substr(0, longest_word), field);
}

void fill_disk_info(const LunAddress& address, BlockDeviceFinder& finder, _DiskInformation& disk) {
    disk.Host = static_cast<std::uint8_t>(address.host);
    disk.Channel = static_cast<std::uint8_t>(address.channel);
    disk.TargetId = static_cast<std::uint8_t>(address.target_id);
    disk.Lun = static_cast<std::uint8_t>(address.lun);

    Path scsi_device = Path{"/sys/bus/scsi/devices/"}.number(address.host).text(":0:");
    scsi_device.number(address.target_id).text(":").number(address.lun);
    const std::optional<BlockDevice> block_device = finder.get_block_device(scsi_device);
    if (!block_device) return;
    copy_text(block_device->name.data(), disk.DeviceName);
    const unsigned long long sectors = std::strtoull(block_device->size.data(), nullptr, 10);
    std::snprintf(disk.Size, sizeof disk.Size, "%llu", sectors << 9);
    copy_first_word(Path{scsi_device}.text("/vendor"), disk.Vendor);
    copy_first_word(Path{scsi_device}.text("/model"), disk.Model);
}

/// Fills the list's first record and appends the others; the number of LUNs.
unsigned int get_session_disks(int session, RecordList<_DiskInformation>& disks) {
    BlockDeviceFinder finder;
    _DiskInformation* disk = disks.first();
    const auto luns = scan_session_luns(session, [&](const LunAddress& address) {
        if (disk == nullptr) disk = disks.append();
        if (disk == nullptr) throw std::bad_alloc{};
        fill_disk_info(address, finder, *disk);
        disk = nullptr;
    });
    return luns.value_or(0);
}

}  // namespace
}  // namespace opinit

using namespace opinit;

int _QueryDiskCount(const unsigned char* session, unsigned int* count) {
    return without_exceptions(memory_out, [&] {
        const int number = referenced_session(session);
        if (find_session(number) == 0) return no_session;
        const auto luns = scan_session_luns(number, [](const LunAddress&) {});
        if (luns) *count = *luns;
        return 0;
    });
}

int _QueryDiskList(const char* session, _DiskInformation** list, unsigned int* count) {
    *list = nullptr;
    return without_exceptions(memory_out, [&] {
        const int number = referenced_session(reinterpret_cast<const unsigned char*>(session));
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
