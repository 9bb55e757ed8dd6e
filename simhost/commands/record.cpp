#include "record.h"

#include <algorithm>

#include "files.h"

namespace simhost {
namespace {

constexpr Setting node_table[] = {
    {"node.name", nullptr},
    {"node.tpgt", nullptr},
    {"node.startup", "manual"},
    {"node.leading_login", "No"},
    {"iface.iscsi_ifacename", "default"},
    {"iface.prefix_len", "0"},
    {"iface.transport_name", "tcp"},
    {"iface.vlan_id", "0"},
    {"iface.vlan_priority", "0"},
    {"iface.iface_num", "0"},
    {"iface.mtu", "0"},
    {"iface.port", "0"},
    {"iface.tos", "0"},
    {"iface.ttl", "0"},
    {"iface.tcp_wsf", "0"},
    {"iface.tcp_timer_scale", "0"},
    {"iface.def_task_mgmt_timeout", "0"},
    {"iface.erl", "0"},
    {"iface.max_receive_data_len", "0"},
    {"iface.first_burst_len", "0"},
    {"iface.max_outstanding_r2t", "0"},
    {"iface.max_burst_len", "0"},
    {"node.discovery_address", nullptr},
    {"node.discovery_port", nullptr},
    {"node.discovery_type", nullptr},
    {"node.session.initial_cmdsn", "0"},
    {"node.session.initial_login_retry_max", "8"},
    {"node.session.xmit_thread_priority", "-20"},
    {"node.session.cmds_max", "128"},
    {"node.session.queue_depth", "32"},
    {"node.session.nr_sessions", "1"},
    {"node.session.auth.authmethod", "None"},
    {"node.session.auth.username", nullptr},
    {"node.session.auth.password", nullptr},
    {"node.session.auth.username_in", nullptr},
    {"node.session.auth.password_in", nullptr},
    {"node.session.auth.chap_algs", "MD5"},
    {"node.session.timeo.replacement_timeout", "120"},
    {"node.session.err_timeo.abort_timeout", "15"},
    {"node.session.err_timeo.lu_reset_timeout", "30"},
    {"node.session.err_timeo.tgt_reset_timeout", "30"},
    {"node.session.err_timeo.host_reset_timeout", "60"},
    {"node.session.iscsi.FastAbort", "Yes"},
    {"node.session.iscsi.InitialR2T", "No"},
    {"node.session.iscsi.ImmediateData", "Yes"},
    {"node.session.iscsi.FirstBurstLength", "262144"},
    {"node.session.iscsi.MaxBurstLength", "16776192"},
    {"node.session.iscsi.DefaultTime2Retain", "0"},
    {"node.session.iscsi.DefaultTime2Wait", "2"},
    {"node.session.iscsi.MaxConnections", "1"},
    {"node.session.iscsi.MaxOutstandingR2T", "1"},
    {"node.session.iscsi.ERL", "0"},
    {"node.session.scan", "auto"},
    {"node.session.reopen_max", "0"},
    {"node.conn[0].address", nullptr},
    {"node.conn[0].port", nullptr},
    {"node.conn[0].startup", "manual"},
    {"node.conn[0].tcp.window_size", "524288"},
    {"node.conn[0].tcp.type_of_service", "0"},
    {"node.conn[0].timeo.logout_timeout", "15"},
    {"node.conn[0].timeo.login_timeout", "15"},
    {"node.conn[0].timeo.auth_timeout", "45"},
    {"node.conn[0].timeo.noop_out_interval", "5"},
    {"node.conn[0].timeo.noop_out_timeout", "5"},
    {"node.conn[0].iscsi.MaxXmitDataSegmentLength", "0"},
    {"node.conn[0].iscsi.MaxRecvDataSegmentLength", "262144"},
    {"node.conn[0].iscsi.HeaderDigest", "None"},
    {"node.conn[0].iscsi.DataDigest", "None"},
    {"node.conn[0].iscsi.IFMarker", "No"},
    {"node.conn[0].iscsi.OFMarker", "No"},
};

constexpr Setting discovery_table[] = {
    {"discovery.startup", "manual"},
    {"discovery.type", "sendtargets"},
    {"discovery.sendtargets.address", nullptr},
    {"discovery.sendtargets.port", nullptr},
    {"discovery.sendtargets.auth.authmethod", "None"},
    {"node.session.auth.chap_algs", "MD5"},
    {"discovery.sendtargets.timeo.login_timeout", "15"},
    {"discovery.sendtargets.use_discoveryd", "No"},
    {"discovery.sendtargets.discoveryd_poll_inval", "30"},
    {"discovery.sendtargets.reopen_max", "5"},
    {"discovery.sendtargets.timeo.auth_timeout", "45"},
    {"discovery.sendtargets.timeo.active_timeout", "30"},
    {"discovery.sendtargets.iscsi.MaxRecvDataSegmentLength", "32768"},
};

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const auto begin = text.find_first_not_of(blanks);
    if (begin == text.npos) return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

}  // namespace

const std::span<const Setting> node_settings = node_table;
const std::span<const Setting> discovery_settings = discovery_table;

bool is_setting(std::span<const Setting> table, std::string_view key) {
    return std::any_of(table.begin(), table.end(),
                       [key](const Setting& setting) { return key == setting.key; });
}

Values parse_record(std::string_view text) {
    Values values;
    for (const std::string_view line : lines_of(text)) {
        const auto equals = line.find('=');
        if (line.starts_with('#') || equals == line.npos) continue;
        values.insert_or_assign(std::string(trimmed(line.substr(0, equals))),
                                std::string(trimmed(line.substr(equals + 1))));
    }
    return values;
}

Values default_values(std::span<const Setting> table) {
    const Values configured = parse_record(read_file("/etc/iscsi/iscsid.conf").value_or(""));
    Values values;
    for (const auto& [key, value] : table) {
        const auto found = configured.find(std::string_view(key));
        if (found != configured.end()) {
            values.emplace(key, found->second);
        } else if (value) {
            values.emplace(key, value);
        }
    }
    return values;
}

std::string record_text(std::span<const Setting> table, const Values& values) {
    std::string text = "# BEGIN RECORD 2.1.8\n";
    for (const Setting& setting : table) {
        const auto found = values.find(std::string_view(setting.key));
        if (found != values.end()) text += found->first + " = " + found->second + "\n";
    }
    return text + "# END RECORD\n";
}

std::string value_of(const Values& values, std::string_view key) {
    const auto found = values.find(key);
    return found == values.end() ? "" : found->second;
}

std::string configured_initiator_name() {
    const auto text = read_file("/etc/iscsi/initiatorname.iscsi");
    return value_of(parse_record(text.value_or("")), "InitiatorName");
}

}  // namespace simhost
