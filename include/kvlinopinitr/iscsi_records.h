// The records that cross the interface. Each is byte-packed and exactly as large as one element of the
// array that an operation copies into the caller's buffer; integers are little-endian.
//
// The exported plain functions hand out the same records as chains of heap blocks: the record, and right
// behind it (unaligned) the pointer to the next one, null in the last. `next_record` follows it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#pragma pack(push, 1)

/// A property id and its value. An entry with id 78 and an empty value ends a property list.
struct _iSCSI_Property {
    std::uint32_t id;  ///< row of `iSCSI_PropertyTable`
    char value[256];   ///< NUL-terminated, at most 255 characters
};

/// Where an `_InitiatorNode` keeps its settings: at most 35 entries, then the end entry.
inline constexpr unsigned int iscsi_node_property_slots = 36;

/// The host's initiator (`GetInitiatorList`): its name from /etc/iscsi/initiatorname.iscsi and the settings
/// of /etc/iscsi/iscsid.conf that the property table knows.
struct _InitiatorNode {
    std::uint32_t reserved_0;
    std::uint32_t node_valid;  ///< 1 once the settings are filled in, 0 when only the name was asked for
    char node_name[256];       ///< the initiator name, at most 223 characters, zero-filled
    char reserved_264[256];
    char initiator_name[256];  ///< the same name again
    char reserved_776[20];
    std::uint8_t stack_running;  ///< 1 when the module is loaded and a daemon runs
    _iSCSI_Property
        properties[iscsi_node_property_slots];  ///< name (id 1), settings in file order, end entry
    char reserved_10157[8];
};

/// One portal of a target (`GetList` types 40 and 41).
struct _TargetPortalGroups {
    std::uint8_t address[16];  ///< to the caller: 4 bytes of IPv4 address, the rest without meaning, or
                               ///< all zero for IPv6; inside a target's portal list: the address as
                               ///< text, not always terminated
    std::uint8_t tpgt;         ///< target portal group tag
    std::uint32_t port;        ///< TCP port
    char reserved_21[8];
};

/// A target that discovery recorded (`GetTargetList`, `DiscoverTarget`).
struct _TargetInformation {
    std::uint32_t node_index;  ///< 1 in the target list, 0 in discovery results
    char target_name[256];     ///< the target's iSCSI name, NUL-terminated
    char info_text[256];       ///< always "NOT AVAILABLE"
    std::uint8_t logged_in;    ///< 1 when a session to the target exists at the portal that is listed last
    std::uint8_t persistent;   ///< 1 when its node record says node.startup = automatic
    char reserved_518[9110];
    _TargetPortalGroups* portals;  ///< of use inside the library only; a caller must not follow it
    char reserved_9636[40];
};

/// What `LoginTarget` is asked for; filled by the agent, only read by the library.
struct _LoginParams {
    std::uint32_t node_index;  ///< must be 1
    char target_name[256];     ///< the target's iSCSI name, NUL-terminated
    char not_read_260[1];
    std::uint8_t target_address[16];  ///< the portal's IPv4 address in the first 4 bytes
    std::uint16_t target_port;        ///< the portal's TCP port
    char not_read_279[17];
    std::uint8_t persistent;     ///< non-zero: the portal's node records start automatically
    std::uint8_t auth_method;    ///< 0: leave as it is; 2: CHAP both ways; else CHAP by the initiator
    char username[64];           ///< CHAP name of the initiator
    char password[20];           ///< CHAP secret of the initiator
    char username_in[64];        ///< CHAP name of the target (both ways only)
    char password_in[20];        ///< CHAP secret of the target (both ways only)
    std::uint8_t header_digest;  ///< non-zero: ask for CRC32C header digests
    std::uint8_t data_digest;    ///< non-zero: ask for CRC32C data digests
};

/// The first connection of a session (`GetList` type 42, `Connections` of a session record). IPv6 addresses
/// are left zero. While a session is in recovery, address and port are those of persistent_address and
/// persistent_port.
struct _ConnectionInformation {
    char reserved_0[1];
    std::uint8_t InitiatorAddress[16];  ///< /sys/class/iscsi_host/host%u/ipaddress, one byte per component
    std::uint8_t TargetAddress[16];     ///< /sys/class/iscsi_connection/connection%d:0/address
    char reserved_33[2];
    std::uint16_t TargetPort;  ///< /sys/class/iscsi_connection/connection%d:0/port
    char reserved_37[37];
};

/// A live session (`QuerySessionList`). All zero when the session's entry could not be read.
struct _SessionInformation {
    char InitiatorName[256];         ///< the host's initiator name
    char TargetName[256];            ///< /sys/class/iscsi_session/session%d/targetname, first word
    std::uint8_t SessionId[16];      ///< byte 0: session number, its low 8 bits
    std::uint8_t SessionHandle[16];  ///< the same
    std::uint16_t ConnectionCount;   ///< 1
    /// The connection, or null. The memory stays valid for the life of the process, and is overwritten by a
    /// later `QuerySessionList`; sessions whose numbers are 256 apart share it.
    _ConnectionInformation* Connections;
};

/// A LUN of a session and the disk behind it (`QueryDisks`).
struct _DiskInformation {
    char Size[64];        ///< bytes as decimal text; empty without a block device
    char DeviceName[32];  ///< such as sdb; empty without a block device
    std::uint8_t Host;    ///< SCSI address; the low 8 bits of each number: host 259 shows as 3
    std::uint8_t Channel;
    std::uint8_t TargetId;
    std::uint8_t Lun;
    char reserved_100[1];
    char Vendor[32];          ///< first word of the SCSI device's vendor attribute
    char Model[64];           ///< first word of its model attribute, at most 31 characters
    char InitiatorName[256];  ///< the host's initiator name
    char TargetName[256];     ///< the session's target name
};

/// Name and version of this library (`GetLibVersion`).
struct _Version {
    char name[16];          ///< "libkvlinopinitr"
    char not_written[4];    ///< left as the caller set it
    std::uint32_t version;  ///< major in the high 16 bits, minor in the low ones: 0x00020002
};

/// What the host says of its iscsi_tcp kernel module (`GetInitiatorVersion`).
struct _InitiatorVersion {
    char module_name[32];  ///< "iscsi_tcp"
    char reserved_32[32];
    char version[64];       ///< at most 63 characters
    char module_text[128];  ///< at most 127 characters
    char reserved_256[1];
};

#pragma pack(pop)

/// The record behind `record` in a chain handed out by one of the exported functions, or null.
template <class Record>
Record* next_record(const Record* record) {
    Record* next;
    std::memcpy(&next, reinterpret_cast<const unsigned char*>(record) + sizeof(Record), sizeof(void*));
    return next;
}

static_assert(sizeof(void*) == 8, "the layouts below are those of x86-64");

static_assert(sizeof(_iSCSI_Property) == 260);

static_assert(sizeof(_InitiatorNode) == 10165);
static_assert(offsetof(_InitiatorNode, node_valid) == 4);
static_assert(offsetof(_InitiatorNode, node_name) == 8);
static_assert(offsetof(_InitiatorNode, initiator_name) == 520);
static_assert(offsetof(_InitiatorNode, stack_running) == 796);
static_assert(offsetof(_InitiatorNode, properties) == 797);

static_assert(sizeof(_TargetPortalGroups) == 29);
static_assert(offsetof(_TargetPortalGroups, tpgt) == 16);
static_assert(offsetof(_TargetPortalGroups, port) == 17);

static_assert(sizeof(_TargetInformation) == 9676);
static_assert(offsetof(_TargetInformation, target_name) == 4);
static_assert(offsetof(_TargetInformation, info_text) == 260);
static_assert(offsetof(_TargetInformation, logged_in) == 516);
static_assert(offsetof(_TargetInformation, persistent) == 517);
static_assert(offsetof(_TargetInformation, portals) == 9628);

static_assert(sizeof(_LoginParams) == 468);
static_assert(offsetof(_LoginParams, target_name) == 4);
static_assert(offsetof(_LoginParams, target_address) == 261);
static_assert(offsetof(_LoginParams, target_port) == 277);
static_assert(offsetof(_LoginParams, persistent) == 296);
static_assert(offsetof(_LoginParams, auth_method) == 297);
static_assert(offsetof(_LoginParams, username) == 298);
static_assert(offsetof(_LoginParams, password) == 362);
static_assert(offsetof(_LoginParams, username_in) == 382);
static_assert(offsetof(_LoginParams, password_in) == 446);
static_assert(offsetof(_LoginParams, header_digest) == 466);
static_assert(offsetof(_LoginParams, data_digest) == 467);

static_assert(sizeof(_ConnectionInformation) == 74);
static_assert(offsetof(_ConnectionInformation, InitiatorAddress) == 1);
static_assert(offsetof(_ConnectionInformation, TargetAddress) == 17);
static_assert(offsetof(_ConnectionInformation, TargetPort) == 35);

static_assert(sizeof(_SessionInformation) == 554);
static_assert(offsetof(_SessionInformation, TargetName) == 256);
static_assert(offsetof(_SessionInformation, SessionId) == 512);
static_assert(offsetof(_SessionInformation, SessionHandle) == 528);
static_assert(offsetof(_SessionInformation, ConnectionCount) == 544);
static_assert(offsetof(_SessionInformation, Connections) == 546);

static_assert(sizeof(_DiskInformation) == 709);
static_assert(offsetof(_DiskInformation, DeviceName) == 64);
static_assert(offsetof(_DiskInformation, Host) == 96);
static_assert(offsetof(_DiskInformation, Lun) == 99);
static_assert(offsetof(_DiskInformation, Vendor) == 101);
static_assert(offsetof(_DiskInformation, Model) == 133);
static_assert(offsetof(_DiskInformation, InitiatorName) == 197);
static_assert(offsetof(_DiskInformation, TargetName) == 453);

static_assert(sizeof(_Version) == 24);
static_assert(offsetof(_Version, version) == 20);

static_assert(sizeof(_InitiatorVersion) == 257);
static_assert(offsetof(_InitiatorVersion, version) == 64);
static_assert(offsetof(_InitiatorVersion, module_text) == 128);
