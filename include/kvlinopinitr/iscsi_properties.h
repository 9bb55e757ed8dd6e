// The vocabulary of settings: ids that the agent and the library share.
//
// A setting travels as an `_iSCSI_Property`, whose id is the index of a row of `iSCSI_PropertyTable`. Besides
// the initiator's settings, which this library reads and writes, the table names settings of iSCSI targets
// and of network interfaces, which belong to other plug-ins.
#pragma once

#include <cstddef>
#include <cstdint>

namespace iscsi_property {

// The ids that need a name.
inline constexpr std::uint32_t initiator_name = 1;  ///< kept in /etc/iscsi/initiatorname.iscsi
inline constexpr std::uint32_t auth_method = 20;
inline constexpr std::uint32_t password = 23;
inline constexpr std::uint32_t password_in = 24;
inline constexpr std::uint32_t discovery_max_recv_data_segment_length = 32;
inline constexpr std::uint32_t target_auth_method =
    38;                                           ///< a target's; `SetProperty` takes it as `auth_method`
inline constexpr std::uint32_t end_of_list = 78;  ///< with an empty value it ends a property list

/// Flag of the settings of an open-iscsi initiator, the ones that can be read and set here.
inline constexpr std::uint32_t open_iscsi_initiator = 0x01;

/// What stands before a row's name in the full key of iscsid.conf; empty for classes without a prefix.
constexpr const char* key_prefix(std::uint32_t key_class) {
    switch (key_class) {
        case 1:
            return "node.session.";
        case 2:
            return "node.session.iscsi.";
        case 3:
            return "node.conn[0].";
        case 4:
            return "node.conn[0].iscsi.";
        default:
            return "";
    }
}

}  // namespace iscsi_property

/// One row of `iSCSI_PropertyTable`. A null text is missing, which is not the same as an empty one.
struct _iSCSI_PropertyInfo {
    std::uint32_t flags;
    std::uint32_t key_class;    ///< see `iscsi_property::key_prefix`
    std::uint32_t id;           ///< index of the row
    const char* name;           ///< tail of the key in iscsid.conf; null in the first and the last row
    const char* alias;          ///< another name
    const char* short_key;      ///< short lower-case name
    const char* value;          ///< a value that may be set
    const char* default_value;  ///< value where nothing is set
};

// clang-format off
/// All settings, each at the index of its id.
inline constexpr _iSCSI_PropertyInfo iSCSI_PropertyTable[79] = {
    // {flags, key class, id, name, alias, short key, value, default value}
    {0x6f, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr},
    {0x6f, 0, 1, "InitiatorName", "", "ininame", nullptr, nullptr},
    {0x39, 4, 2, "MaxRecvDataSegmentLength", "", "max_recv_data_seg_len", "131072", "32768"},
    {0x19, 4, 3, "HeaderDigest", "", "headerdigest", "None,CRC32C", "None"},
    {0x20, 4, 4, "HeaderDigest", "", "headerdigest", "none", "none"},
    {0x19, 4, 5, "DataDigest", "", "datadigest", "None", "None"},
    {0x20, 4, 6, "DataDigest", "", "datadigest", "none", "none"},
    {0x39, 2, 7, "InitialR2T", "", "init_r2t_en", "No", "Yes"},
    {0x39, 2, 8, "ImmediateData", "", "immediate_data_en", "Yes", "Yes"},
    {0x39, 2, 9, "MaxOutstandingR2T", "", "max_r2t", "1", "1"},
    {0x39, 2, 10, "FirstBurstLength", "", "first_burst_len", "262144", "65536"},
    {0x39, 2, 11, "MaxBurstLength", "", "max_burst_len", "16776192", "262144"},
    {0x39, 2, 12, "DataPDUInOrder", "", "pdu_inorder_en", "Yes", "Yes"},
    {0x39, 2, 13, "DataSequenceInOrder", "", "dataseq_inorder_en", "Yes", "Yes"},
    {0x21, 2, 14, "ERL", "", "erl", "0", "0"},
    {0x01, 0, 15, "node.startup", "", nullptr, "automatic", nullptr},
    {0x01, 3, 16, "timeo.login_timeout", "", "login_tmo", "15", nullptr},
    {0x01, 3, 17, "timeo.logout_timeout", "", "logout_tmo", "15", nullptr},
    {0x21, 1, 18, "initial_login_retry_max", "", "init_login_retry_max", "4", nullptr},
    {0x01, 1, 19, "timeo.replacement_timeout", "", "sess_recovery_tmo", "120", nullptr},
    {0x01, 1, 20, "auth.authmethod", "", "auth", "None", nullptr},
    {0x39, 1, 21, "auth.username", "", "username", nullptr, nullptr},
    {0x19, 1, 22, "auth.username_in", "", "username_in", nullptr, nullptr},
    {0x39, 1, 23, "auth.password", "", "passwd", nullptr, nullptr},
    {0x19, 1, 24, "auth.password_in", "", "passwd_in", nullptr, nullptr},
    {0x01, 1, 25, "cmds_max", "", "cmds_max", "128", nullptr},
    {0x01, 1, 26, "queue_depth", "", "queue_depth", "32", nullptr},
    {0x01, 2, 27, "FastAbort", "", "fast_abort", "Yes", nullptr},
    {0x01, 1, 28, "err_timeo.abort_timeout", "", "abort_tmo", "15", nullptr},
    {0x01, 1, 29, "err_timeo.lu_reset_timeout", "", "lu_reset_tmo", "30", nullptr},
    {0x01, 3, 30, "timeo.noop_out_timeout", "", "ping_tmo", "5", nullptr},
    {0x01, 3, 31, "timeo.noop_out_interval", "", "recv_tmo", nullptr, nullptr},
    {0x01, 0, 32, "discovery.sendtargets.iscsi.MaxRecvDataSegmentLength", "", nullptr, "32768", nullptr},
    {0x08, 1, 33, "ErrorRecoveryLevel", "", "erl", nullptr, "0"},
    {0x08, 1, 34, "Target", "", "targetname", nullptr, nullptr},
    {0x08, 1, 35, "TargetConnPort", "", "conn_port", nullptr, "3260"},
    {0x08, 1, 36, "TargetConnAddress", "", "conn_address", nullptr, nullptr},
    {0x08, 1, 37, "InitiatorAlias", "", "inialias", nullptr, nullptr},
    {0x28, 1, 38, "AuthMethod", "", "auth", nullptr, "NONE,CHAP"},
    {0x08, 1, 39, "Auth_CHAP_Policy", "", "chap", nullptr, "Oneway"},
    {0x08, 1, 40, "Auth_CHAP_ChallengeLength", "", "challenge_len", nullptr, "16"},
    {0x08, 1, 41, "Auth_CHAP_Initiator", "", "chap_ini", nullptr, nullptr},
    {0x08, 1, 42, "Auth_CHAP_Target", "", "chap_target", nullptr, nullptr},
    {0x28, 1, 43, "DefaultTime2Wait", "", "deflt_time_2wait", nullptr, "2"},
    {0x28, 1, 44, "DefaultTime2Retain", "", "deflt_time_2retain", nullptr, "20"},
    {0x28, 1, 45, "MaxConnections", "", "max_conns", nullptr, "4"},
    {0x08, 1, 46, "TargetAlias", "", "tgtalias", nullptr, nullptr},
    {0x08, 1, 47, "PortalGroup", "", "portal_group", nullptr, nullptr},
    {0x08, 1, 48, "TargetDevice", "", "target_device", nullptr, nullptr},
    {0x08, 1, 49, "ACL_Enable", "", "acl_enable", nullptr, nullptr},
    {0x08, 1, 50, "ACL", "", "acl", nullptr, nullptr},
    {0x08, 1, 51, "ShadowMode", "", "shadow_mode", nullptr, nullptr},
    {0x08, 1, 52, "TargetSessionMaxCmd", "", "target_sess_max_cmd", nullptr, nullptr},
    {0x08, 0, 53, "iscsi_offload_mode", "", "offload", nullptr, "AUTO"},
    {0x08, 0, 54, "iscsi_auth_order", "", nullptr, nullptr, "CHAP"},
    {0x08, 0, 55, "iscsi_acl_order", "iscsi_acl_order", nullptr, nullptr, nullptr},
    {0x08, 0, 56, "iscsi_verbose_level", "", nullptr, nullptr, nullptr},
    {0x08, 0, 57, "iscsi_copy_threshold", "iscsi_copy_threshold", nullptr, nullptr, nullptr},
    {0x08, 0, 58, "iscsi_target_vendor_id", "", nullptr, nullptr, "KVISCSI"},
    {0x08, 0, 59, "iscsi_max_redirect", "", nullptr, nullptr, nullptr},
    {0x04, 5, 60, "IpAddress", "", "ip", nullptr, nullptr},
    {0x04, 5, 61, "SubnetMask", "", "mask", nullptr, nullptr},
    {0x04, 5, 62, "Gateway", "", "gw", nullptr, nullptr},
    {0x04, 5, 63, "iBFT", "", "ibft", nullptr, nullptr},
    {0x04, 5, 64, "VlanInsertion", "", "vlaninsertion", nullptr, nullptr},
    {0x04, 5, 65, "VlanID", "", "vlanid", nullptr, nullptr},
    {0x04, 5, 66, "TCPAck", "", "tcpack", nullptr, nullptr},
    {0x40, 5, 67, "IP Address", "", "ip", nullptr, nullptr},
    {0x40, 5, 68, "SubnetMask", "", "mask", nullptr, nullptr},
    {0x40, 5, 69, "Gateway", "", "gw", nullptr, nullptr},
    {0x40, 5, 70, "iBFT", "", "ibft", nullptr, nullptr},
    {0x40, 5, 71, "VlanInsertion", "", "vlaninsertion", nullptr, nullptr},
    {0x40, 5, 72, "VlanId", "", "vlanid", nullptr, nullptr},
    {0x40, 5, 73, "IP Address(v6)", "", "ipv6", nullptr, nullptr},
    {0x40, 5, 74, "Prefix Length(v6)", "", "maskv6", nullptr, nullptr},
    {0x40, 5, 75, "Gateway (v6)", "", "gwv6", nullptr, nullptr},
    {0x40, 5, 76, "MTU", "", "mtu", nullptr, nullptr},
    {0x08, 0, 77, "iscsi_HA_mode", "", nullptr, nullptr, "KVISCSI"},
    {0x6f, 0, 78, nullptr, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on

static_assert(
    [] {
        for (std::size_t row = 0; row < 79; ++row) {
            if (iSCSI_PropertyTable[row].id != row) return false;
        }
        return true;
    }(),
    "each row stands at its id");

static_assert(
    [] {
        for (const _iSCSI_PropertyInfo& row : iSCSI_PropertyTable) {
            const bool flagged = row.id <= 3 || row.id == 5 || (row.id >= 7 && row.id <= 32) || row.id == 78;
            if ((row.flags & iscsi_property::open_iscsi_initiator) != (flagged ? 1U : 0U)) return false;
            if ((row.name == nullptr) != (row.id == 0 || row.id == iscsi_property::end_of_list)) return false;
        }
        return true;
    }(),
    "the initiator's settings are flagged, and only the first and the last row have no name");
