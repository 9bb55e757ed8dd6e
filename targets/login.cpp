// Logging in to a target.
#include <string>
#include <string_view>

#include "core/base/captured_output.h"
#include "core/base/command.h"
#include "core/base/no_exceptions.h"
#include "core/base/text.h"
#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "targets/iscsiadm_output.h"
#include "targets/names.h"

namespace opinit {
namespace {

using Params = const _LoginParams&;

constexpr unsigned char chap_both_ways = 2;

bool wants_chap(Params params) {
    return params.auth_method != 0;
}
bool wants_chap_both_ways(Params params) {
    return params.auth_method == chap_both_ways;
}

/// A setting of the node records that a login may ask for.
struct Update {
    bool (*wanted)(Params);
    std::string_view setting;
    std::string_view (*value)(Params);
};

constexpr Update updates[] = {
    {[](Params p) { return p.header_digest != 0; }, "node.conn[0].iscsi.HeaderDigest",
     [](Params) -> std::string_view { return "CRC32C"; }},
    {[](Params p) { return p.data_digest != 0; }, "node.conn[0].iscsi.DataDigest",
     [](Params) -> std::string_view { return "CRC32C"; }},
    {wants_chap, "node.session.auth.authmethod", [](Params) -> std::string_view { return "CHAP"; }},
    {wants_chap, "node.session.auth.username", [](Params p) { return field_text(p.username); }},
    {wants_chap, "node.session.auth.password", [](Params p) { return field_text(p.password); }},
    {wants_chap_both_ways, "node.session.auth.username_in",
     [](Params p) { return field_text(p.username_in); }},
    {wants_chap_both_ways, "node.session.auth.password_in",
     [](Params p) { return field_text(p.password_in); }},
    {[](Params p) { return p.persistent != 0; }, "node.startup",
     [](Params) -> std::string_view { return "automatic"; }},
};

/// Stops at the first failure; the updates before it stay.
bool update_node_records(Params params, const std::string& portal) {
    for (const Update& update : updates) {
        if (!update.wanted(params)) continue;
        Command command;
        command.text("iscsiadm -m node -p ").word(portal).text(" -o update \t\t\t-n ").text(update.setting);
        command.text(" -v ").word(update.value(params));
        if (run_command(command.c_str()) != 0) return false;
    }
    return true;
}

unsigned int login(Params params, const std::string& portal) {
    Command command;
    command.text("iscsiadm -m node -l -p ").word(portal);
    command.text(" -T ").word(field_text(params.target_name)).capture();
    const CapturedOutputRemoval removal;
    run_captured(command.c_str());
    return _check_iscsiadm_output();
}

}  // namespace
}  // namespace opinit

using namespace opinit;

unsigned int _LoginTarget(_LoginParams* params, const char* address) {
    return without_exceptions(iscsi_status::out_of_memory, [&] {
        const std::string portal = portal_argument(address, params->target_port);
        if (!update_node_records(*params, portal)) return iscsi_status::bad_parameters;
        return login(*params, portal);
    });
}
