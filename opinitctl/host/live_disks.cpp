#include "host/live_disks.h"

#include "host/host_files.h"
#include "kvlinopinitr/answer_buffer.h"
#include "kvlinopinitr/iscsi_records.h"
#include "running/operation.h"

namespace opinitctl {
namespace {

using Record = _DiskInformation;

std::optional<std::uint64_t> size_in(const Record& record) {
    const std::string digits = field_text(record.Size);
    return digits.empty() ? std::nullopt : std::optional(std::strtoull(digits.c_str(), nullptr, 10));
}

std::string address_in(const Record& record) {
    std::string text;
    for (const unsigned int part : {record.Host, record.Channel, record.TargetId, record.Lun}) {
        text += (text.empty() ? "" : ":") + std::to_string(part);
    }
    return text;
}

std::string trimmed(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

Disk disk_of(const Record& record, unsigned int session) {
    Disk disk = {session,
                 record.Lun,
                 field_text(record.DeviceName),
                 size_in(record),
                 field_text(record.Vendor),
                 field_text(record.Model),
                 address_in(record),
                 "",
                 field_text(record.TargetName)};
    if (disk.device.empty()) return disk;
    // The record has the low 8 bits of each number; the device's link ends in all of them.
    const std::string device = "/sys/block/" + disk.device + "/device";
    const std::vector<std::string> parts = split(link_text(device), '/');
    const auto lun = number_in(split(parts.back(), ':').back());
    if (lun) {
        disk.scsi_address = parts.back();
        disk.lun = *lun;
    }
    // Of these the record has the first word.
    disk.vendor = trimmed(text_in(device + "/vendor"));
    disk.model = trimmed(text_in(device + "/model"));
    disk.state = text_in(device + "/state");
    return disk;
}

}  // namespace

std::vector<Disk> disks_of(ISCSI_Initiator& initiator, unsigned int session) {
    // As text the interface takes any number, and none that could be read in another way.
    std::string number = std::to_string(session);
    kvlinopinitr::AnswerBuffer<Record> answer;
    unsigned int count = 0;
    const unsigned int status = initiator.QueryDisks(reinterpret_cast<unsigned char*>(number.data()),
                                                     answer.data(), &count, answer.bytes());
    require_success(initiator, "list the disks of session " + number, status);
    std::vector<Disk> disks;
    // A session without LUNs answers a record all the same.
    if (count == 0) return disks;
    for (const Record& record : answer.records()) disks.push_back(disk_of(record, session));
    return disks;
}

const Columns<Disk>& disk_columns() {
    static const Columns<Disk> columns = {
        {"session", [](const Disk& disk) -> Value { return disk.session; }},
        {"lun", [](const Disk& disk) -> Value { return disk.lun; }},
        {"device", [](const Disk& disk) { return text_or_null(disk.device); }},
        {"size_bytes", [](const Disk& disk) { return number_or_null(disk.size); }, Look::bytes},
        {"vendor", [](const Disk& disk) { return text_or_null(disk.vendor); }},
        {"model", [](const Disk& disk) { return text_or_null(disk.model); }},
        {"scsi_address", [](const Disk& disk) { return text_or_null(disk.scsi_address); }, Look::plain,
         Shown::on_request},
        {"state", [](const Disk& disk) { return text_or_null(disk.state); }, Look::state},
        {"target", [](const Disk& disk) { return text_or_null(disk.target); }, Look::text},
    };
    return columns;
}

}  // namespace opinitctl
