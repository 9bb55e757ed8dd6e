#include "core/base/status.h"

#include "kvlinopinitr/iscsi_status.h"

const iSCSI_StatusMessage OpenIscsiErrStr[34] = {
    {0, "Success"},
    {1, "Failure"},
    {98, "Not able to open file"},
    {99, "Memory Allocation"},
    {166, "Session does not exists."},
    {167, "Session is ACTIVE, cannot remove Target. Try logout and then remove."},
    {168, "Property not found in the conf file list."},
    {169, "Initiator Section not available in the conf file."},
    {170, "Query for Initiator Node List failed."},
    {171, "Login/Logout Target Not Supported."},
    {172, "Node index does not fall within the valid range and initiator count."},
    {173, "Initiator Name already exists in the conf file."},
    {174, "Session is ACTIVE, cannot remove Initiator. Try logout and then remove."},
    {175, "Discover Target failed. Check if Target started or Target IP Address changed."},
    {176, "There is NO multiple initiators support."},
    {177, "Removal of Target not possible as Session is active."},
    {178, "Stop Initiator not supported."},
    {179, "Target Name / Portal not found."},
    {180, "IP Address and Port not found."},
    {182, "iSCSI Stack is not installed."},
    {183, "Initiator not started."},
    {184, "Cannot Remove initiator as there is no multiple initiator support."},
    {185, "Too many Parameters."},
    {186, "There are NO PERSISTENT TARGET(s) logged IN."},
    {187, "Repeated parameters present to be set."},
    {189, "Cannot stop initiator as session is active."},
    {191, "There is no initiator node / InitiatorName present in the conf file."},
    {89, "This command is not supported by the open-iscsi stack."},
    {197, "The initiator is already logged in to the target."},
    {199, "Login Failure, either Target is not discovered / Target not reachable / iSCSI login failure."},
    {198, "The Initiator name length exceeds 223 bytes."},
    {313,
     "ERROR: iscsid binary file is missing in /sbin directory. Manually copy the /usr/sbin/iscsid to /sbin "
     "directory."},
    {205, "Input Parameters given for the command are not correct."},
    {iscsi_status::end_of_table, nullptr},
};

namespace opinit {

const char* status_message(unsigned int code) {
    for (const iSCSI_StatusMessage* row = OpenIscsiErrStr; row->code != iscsi_status::end_of_table; ++row) {
        if (row->code == code) return row->message;
    }
    return "";
}

}  // namespace opinit
