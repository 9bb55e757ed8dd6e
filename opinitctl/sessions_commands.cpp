// sessions, connections, disks.
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "answer_buffer.h"
#include "arguments.h"
#include "commands.h"
#include "kvlinopinitr/open_initiator.h"
#include "listing_options.h"
#include "live_sessions.h"
#include "operation.h"

namespace opinitctl {
namespace {

using Connection = _ConnectionInformation;
using Disk = _DiskInformation;

Json size_in_bytes(const Disk& disk) {
    const std::string digits = field_text(disk.Size);
    return digits.empty() ? Json() : Json(std::strtoull(digits.c_str(), nullptr, 10));
}

std::string scsi_address(const Disk& disk) {
    std::string text;
    for (const unsigned int part : {disk.Host, disk.Channel, disk.TargetId, disk.Lun}) {
        text += (text.empty() ? "" : ":") + std::to_string(part);
    }
    return text;
}

const Columns<Connection> connection_columns = {
    {"portal",
     [](const Connection& connection) -> Json {
         return portal_text(connection.TargetAddress, connection.TargetPort);
     }},
    {"initiator_address",
     [](const Connection& connection) { return known_address(connection.InitiatorAddress); }},
};

const Columns<Disk> disk_columns = {
    {"lun", [](const Disk& disk) -> Json { return disk.Lun; }},
    {"device", [](const Disk& disk) { return text_or_null(field_text(disk.DeviceName)); }},
    {"size_bytes", size_in_bytes, Look::bytes},
    {"vendor", [](const Disk& disk) { return text_or_null(field_text(disk.Vendor)); }},
    {"model", [](const Disk& disk) { return text_or_null(field_text(disk.Model)); }},
    {"scsi_address", [](const Disk& disk) -> Json { return scsi_address(disk); }},
    {"target", [](const Disk& disk) { return text_or_null(field_text(disk.TargetName)); }, Look::text},
};

void show_sessions(const Output& output) {
    OpenInitiator initiator;
    output.list(session_columns(), live_sessions(initiator));
}

void show_connections(const std::string& number, const Output& output) {
    _SessionInformation session = {};
    const auto identifier = session_identifier(number);
    std::copy(identifier.begin(), identifier.end(), session.SessionId);
    OpenInitiator initiator;
    AnswerBuffer<Connection> answer;
    const unsigned int status =
        initiator.GetList(the_initiator, LIST_CONNECTIONS, answer.data(), answer.bytes(), &session);
    const std::vector<Connection> connections = answer.records();
    if (status == iscsi_status::success || !connections.empty()) output.list(connection_columns, connections);
    require_success(initiator, "tell all of the connection of session " + number, status,
                    connections.empty() ? "no such session" : "its SCSI host is not known");
}

void show_disks(const std::string& text, const Output& output) {
    // As text the interface takes any number, and none that could be read in another way.
    std::string number =
        std::to_string(parse_number(text, std::numeric_limits<std::int32_t>::max(), "a session number"));
    OpenInitiator initiator;
    AnswerBuffer<Disk> answer;
    unsigned int count = 0;
    const unsigned int status = initiator.QueryDisks(reinterpret_cast<unsigned char*>(number.data()),
                                                     answer.data(), &count, answer.bytes());
    require_success(initiator, "list the disks of session " + number, status);
    // A session without LUNs answers a record all the same.
    output.list(disk_columns, count == 0 ? std::vector<Disk>() : answer.records());
}

void declare_sessions(CLI::App& sessions, Output& output) {
    add_listing_options(sessions, output, headings_of(session_columns()));
    sessions.callback([&output] { show_sessions(output); });
}

void declare_connections(CLI::App& connections, Output& output) {
    const Text session = add_required(connections, "SESSION", session_description);
    add_listing_options(connections, output, headings_of(connection_columns));
    connections.callback([session, &output] { show_connections(*session, output); });
}

void declare_disks(CLI::App& disks, Output& output) {
    const Text session = add_required(disks, "SESSION", "Session number as sysfs has it, also above 255");
    add_listing_options(disks, output, headings_of(disk_columns));
    disks.callback([session, &output] { show_disks(*session, output); });
}

constexpr Command commands[] = {
    {"sessions", "List the live sessions; numbers above 255 show as their low 8 bits", declare_sessions},
    {"connections", "List the connections of a session", declare_connections},
    {"disks", "List the LUNs of a session and their disks", declare_disks},
};

}  // namespace

std::span<const Command> session_commands() {
    return commands;
}

}  // namespace opinitctl
