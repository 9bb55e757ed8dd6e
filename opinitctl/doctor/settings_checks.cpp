// The initiator's name, and what is unsafe or misleading in iscsid.conf.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "commands/secret.h"
#include "doctor/check.h"
#include "doctor/fixes.h"
#include "doctor/host.h"
#include "host/host_files.h"
#include "kvlinopinitr/iscsi_properties.h"
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

bool holds_secret() {
    for (const unsigned int id : {iscsi_property::password, iscsi_property::password_in}) {
        Wiped<_iSCSI_Property> property;
        if (_GetProperty(0, static_cast<unsigned char>(id), &property.record) == 0 &&
            property.record.value[0] != '\0') {
            return true;
        }
    }
    return false;
}

Check secrets() {
    const std::string name = "secrets";
    struct stat entry = {};
    if (!holds_secret()) return ok(name, std::string(settings_file) + " holds none");
    if (stat(settings_file, &entry) == 0 && (entry.st_mode & 0077) != 0) {
        return {name, Result::problem,
                std::string(settings_file) + " holds a CHAP secret, and others may open it",
                "chmod 600 " + std::string(settings_file), change_mode(settings_file, 0, 0077)};
    }
    return ok(name, std::string(settings_file) + " holds one, for root only");
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
    return {initiator_name(), secrets(), discovery_settings()};
}

}  // namespace opinitctl::doctor
