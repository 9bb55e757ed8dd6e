// The initiator's name, and what is misleading in iscsid.conf.
#include <fcntl.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "doctor/check.h"
#include "doctor/fixes.h"
#include "doctor/host.h"
#include "host/host_files.h"
#include "kvlinopinitr/iscsi_records.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "shown/output.h"

namespace opinitctl::doctor {
namespace {

constexpr const char* name_file = "/etc/iscsi/initiatorname.iscsi";
constexpr const char* settings_file = "/etc/iscsi/iscsid.conf";

Check no_name(const std::string& name) {
    const int error = open_error(name_file, O_RDWR);
    Check check = {name, Result::problem,
                   error == 0
                       ? std::string(name_file) + " has no line InitiatorName=NAME: operations answer 191"
                       : reason(name_file, error) + ": operations answer 191",
                   remedy_for(error, name_file, "opinitctl config set InitiatorName=NAME")};
    if (error == ENOENT) check.fix = name_initiator(name_file);
    return check;
}

Check initiator_name() {
    const std::string name = "initiator name";
    void* list = nullptr;
    unsigned int count = 0;
    const int result = _GetInitiatorNodeList(&list, &count, 1);
    const std::unique_ptr<void, decltype(&std::free)> owner(list, std::free);
    if (result == -2) {
        return {name, Result::problem,
                std::string(name_file) + " holds a name of more than 223 characters: operations answer 198",
                "opinitctl config set InitiatorName=NAME"};
    }
    if (list == nullptr) return no_name(name);
    return ok(name, field_text(static_cast<_InitiatorNode*>(list)->initiator_name));
}

Check discovery_settings() {
    const std::string name = "discovery settings";
    for (const std::string& line : lines_in(settings_file)) {
        if (!line.starts_with("discovery.sendtargets.auth.")) continue;
        return {name, Result::note,
                std::string(settings_file) +
                    " has lines discovery.sendtargets.auth: the interface lists them as if they "
                    "were for logins (ids 20, 21, 23), the secret too",
                "remove them unless discoveries need CHAP"};
    }
    return ok(name, "none that look like those of logins");
}

}  // namespace

Checks examine_settings() {
    return {initiator_name(), discovery_settings()};
}

}  // namespace opinitctl::doctor
