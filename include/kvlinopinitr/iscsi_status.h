// Status codes of the interface, and the table that gives each its message.
#pragma once

namespace iscsi_status {

inline constexpr unsigned int success = 0;
inline constexpr unsigned int failure = 1;
inline constexpr unsigned int not_supported = 89;
inline constexpr unsigned int cannot_open_file = 98;
inline constexpr unsigned int out_of_memory = 99;
inline constexpr unsigned int no_such_session = 166;
inline constexpr unsigned int session_active = 167;
inline constexpr unsigned int property_not_found = 168;
inline constexpr unsigned int node_index_out_of_range = 172;
inline constexpr unsigned int no_multiple_initiators = 176;
inline constexpr unsigned int target_not_found = 179;
inline constexpr unsigned int stack_not_installed = 182;
inline constexpr unsigned int initiator_not_started = 183;
inline constexpr unsigned int cannot_remove_initiator = 184;
inline constexpr unsigned int too_many_parameters = 185;
inline constexpr unsigned int repeated_parameters = 187;
inline constexpr unsigned int cannot_stop_session_active = 189;
inline constexpr unsigned int no_initiator_node = 191;
inline constexpr unsigned int already_logged_in = 197;
inline constexpr unsigned int initiator_name_too_long = 198;
inline constexpr unsigned int login_failed = 199;
inline constexpr unsigned int bad_parameters = 205;
inline constexpr unsigned int daemon_file_missing = 313;

/// Has no message: `StartInitiator` answers it when the kernel module does not load.
inline constexpr unsigned int module_not_loaded = 416;

/// Code of the row that ends `OpenIscsiErrStr`; also what `SetProperty` answers when a file cannot be
/// opened or written.
inline constexpr unsigned int end_of_table = 0xFFFFFFFF;

}  // namespace iscsi_status

/// One row of `OpenIscsiErrStr`.
struct iSCSI_StatusMessage {
    unsigned int code;
    const char* message;
};
static_assert(sizeof(iSCSI_StatusMessage) == 16);

extern "C" {
/// All codes that have a message, unsorted, closed by a row of code 0xFFFFFFFF and a null message.
extern const iSCSI_StatusMessage OpenIscsiErrStr[34];
}
