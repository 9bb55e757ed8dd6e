// The globals and plain functions that stand beside the class `OpenInitiator`. They do the work behind its
// operations: they make no checks, log nothing, and answer small codes of their own.
//
// Chains of records are heap blocks: walk them with `next_record`, release each with free() unless a
// function of its own is named. Text arguments are NUL-terminated.
#pragma once

#include "iscsi_records.h"

extern "C" {

/// Where the output of commands is captured: "/tmp/opiscsierr" until the agent points it elsewhere. Commands
/// end in " 1&>FILE" where /bin/sh is bash, or the program has a `system` of its own, and in " 1 >FILE 2>&1"
/// elsewhere. A plain file that only its owner may write, who must be the agent, is emptied before; what else
/// is there goes, a directory that is not empty to a name beside it.
extern const char* tmperrfile;
/// Result of the last probe whether the stack is installed (1 or 0).
extern unsigned int op_init_stack_avail;
/// Result of the last probe whether the stack runs (1 or 0).
extern unsigned int op_initiator_started;
/// Width of the next pointer of a record chain: 8 once an `OpenInitiator` was constructed.
extern unsigned int SIZEOFPOINTER;

// ---- Stack detection ----

/// 1 when /etc/iscsi/iscsid.conf can be read and the running kernel has a file
/// /lib/modules/RELEASE/kernel/drivers/scsi/iscsi_tcp.ko, or one with .xz, .zst or .gz behind it, else 0.
int check_stack_available();
/// 1 when a line of /proc/modules begins with "iscsi_tcp", else 0.
int is_module_loaded();
/// Number of processes whose program path contains "iscsid": 0, 1, or 2 for two and more.
int check_iscsid_instances();
/// 1 when the module is loaded and a daemon runs, else 0. The process that /run/iscsid.pid names is looked at
/// first; unless it is a daemon, all processes are.
int check_stack_running();

inline constexpr int DISTRO_REDHAT = 1;
inline constexpr int DISTRO_SUSE = 2;
inline constexpr int DISTRO_UNKNOWN = -1;
/// Tells the distribution by /etc/issue, or where that names neither, by ID and ID_LIKE of /etc/os-release.
/// 0: `*code` is 1 or 2; 1: neither, `*code` is -1; 98: the file cannot be opened for reading and writing,
/// `*code` is left alone.
int get_linux_distro(int* code);

// ---- Configuration ----

/// Value of the first line of /etc/iscsi/iscsid.conf that mentions the property's name and is no comment,
/// into `out->value`. 0 found; -1 no such property, no such line, or no file. `out->id` is left alone.
int _GetProperty(int unused, unsigned char id, _iSCSI_Property* out);
/// Writes a property list. 0 written; 86 a property that cannot be set; 187 the same key twice; -2 more than
/// 34 properties; -3 initiator name longer than 223 characters; -1 a file cannot be opened or written, out of
/// memory, or a null list. See `SetProperty`.
int _SetProperty(int unused, _iSCSI_Property* properties);
/// The initiator node as a chain of one `_InitiatorNode`, or null. `mode` 1: the names only, `*count` 1;
/// 2 and 3: the settings too, `*count` their number. 0 done, or no name line in the file (null); -1 no name,
/// file or memory; -2 name of 224 characters or more.
int _GetInitiatorNodeList(void** list, unsigned int* count, int mode);
/// Adding is not possible: -1.
int _AddInitiatorNode();
/// Whether the named initiator could be removed; nothing is. 0 yes; -1 not its name; -2 sessions exist, or
/// cannot be counted.
int _RemoveInitiatorNode(const char* name);

// ---- Targets ----

/// Discovers the targets at a portal. `*list` is null on entry; `*count` is increased by the targets found.
/// 0 done; 179 none; 2 out of memory. Release with `FreeTargetList`.
unsigned int _DiscoverTarget(const char* address, int port, _TargetInformation** list, unsigned int* count);
/// Updates node records and logs in; `address` is the portal's dotted text. 0, 197, 199, 205, or 99.
unsigned int _LoginTarget(_LoginParams* params, const char* address);
/// Logs out the session whose number is `session[0]`. 0 done; 166 no such session; 1 failed; 99 no memory.
unsigned int _LogoutTarget(unsigned char* session);
/// All recorded targets, with each one's portals when `with_portals` is set. `*list` is null on entry and
/// after a failure. 0 done; -1 nothing recorded; 2 out of memory; 179 or -2 no portal has a target.
int _GetTargetList(_TargetInformation** list, unsigned char with_portals);
/// Deletes the node records of a portal. 0 done; 167 a session is active; 179 no records; 99 no memory.
unsigned int _remove_iscsi_dirs(const char* address, int port);
/// Sets the node records of a portal to manual startup. 0 done; 1 failed; 197, 199; 99 no memory.
unsigned int _remove_persistent_entry(const char* unused_name, const char* address, int port, void* unused);

// ---- Sessions, connections, disks ----

/// Number of sessions into `*count`, which is left alone when there is none or they cannot be read. 0.
int _QuerySessionCount(unsigned int* count);
/// All sessions and their number. The `Connections` of each record is a heap block of its own. 0 done; -2 no
/// session (`*list` null, `*count` left alone); 12 out of memory (the same).
int _QuerySessionList(_SessionInformation** list, unsigned int* count, void* unused);
/// Number (0 to 255) of the session to that address text, port and target name, or -1.
int _QuerySessionID(const char* address, unsigned short port, const char* target_name);
/// The connection of the session whose number is `session[0]`. 0 done; 1 a file cannot be opened (null); -1
/// out of memory (null) or SCSI host not known (the record lacks `InitiatorAddress`).
int _QueryConnectionList(const char* unused_name, const unsigned char* session,
                         _ConnectionInformation** list);
/// The LUNs of a session (see `QueryDisks`). 0 done; -2 no such session (null); 12 out of memory (null).
int _QueryDiskList(const char* session, _DiskInformation** list, unsigned int* count);
/// Number of LUNs of a session. 0 done (`*count` left alone when they cannot be listed); -2 no such session;
/// 12 out of memory.
int _QueryDiskCount(const unsigned char* session, unsigned int* count);

// ---- Diagnostic hooks: called on the lists that operations return; they print nothing and answer 0 ----

int print_target_info(_TargetInformation* list, int count);
int print_portals_info(_TargetPortalGroups* list, unsigned int unused);
int print_session_info(_SessionInformation* list, unsigned int count);
int print_connection_info(_ConnectionInformation* list);
int print_disks_info(_DiskInformation* list, unsigned int count);
int print_initiator_info(_InitiatorNode* list, int mode, unsigned int count);
int print_kv_settings(_iSCSI_Property* properties, unsigned int count);

}  // extern "C"

/// The portals of a recorded target, addresses as 4 bytes. 0 done; 1 no such target; 2 out of memory. Release
/// the records even after a failure.
int _GetPortalGroups(char* unused_name, char* target_name, _TargetPortalGroups** list);
/// Releases a list of targets and their portals; null is a no-op.
void FreeTargetList(_TargetInformation* list);
