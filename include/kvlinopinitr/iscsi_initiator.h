// The interface through which a storage management agent controls the host's iSCSI initiator.
//
// Common to all operations:
// - A call does its whole work on the caller's thread: one call at a time. No exception leaves it, and a
//   thread that is cancelled meanwhile finishes it first. Asynchronous cancellation is not supported.
// - It answers a status of iscsi_status.h (`GetErrStr` gives its message) unless said otherwise.
// - Checks are made in the order given and before any work. "index" is the initiator node index: the host
//   has one initiator, so only 1 is accepted. "available" asks for /etc/iscsi/iscsid.conf and the iscsi_tcp
//   module file of the running kernel, plain or compressed (else 182); "running" asks for the module in
//   /proc/modules and an iscsid process (else 183, or 182 when the stack is not installed either).
// - Results arrive in `buffer` as an array of records of iscsi_records.h, and their length in bytes through
//   `bytes`, only when both pointers are non-null; otherwise nothing is copied and the call is as good.
//   `bytes` is written, never read: the caller makes the buffer large enough beforehand.
// - An IPv4 address is passed as 4 bytes, first dotted component first.
// - Null for any other pointer is refused with 205 behind the checks, and not logged, unless an operation
//   says otherwise.
// - "Logged" codes are put into the object's `err_msg` and into the maker's log; no other code is.
//
// docs/operations.md is made from the entries under each operation.
#pragma once

struct _Version;
struct _LoginParams;
struct _iSCSI_Property;

class ISCSI_Initiator {
public:
    virtual ~ISCSI_Initiator();

    /// Gives the message of a status code.
    /// Checks: none
    /// Host: nothing
    /// Outputs: the message, constant text; an empty text for a code without one, never null
    /// Codes: none
    /// Logged: no
    /// Blocks: no
    virtual const char* GetErrStr(int code) = 0;

    /// Tells whether the stack is installed.
    /// Checks: none
    /// Host: looks for /etc/iscsi/iscsid.conf and the module file of the running kernel
    /// Outputs: the answer is returned and kept in `stack_avail`
    /// Codes: 1 installed; 0 not installed
    /// Logged: no
    /// Blocks: no
    virtual unsigned int IsServiceAvailable() = 0;

    /// Loads the module and starts the daemon through the distribution's init script.
    /// Checks: index (176); available (182)
    /// Host: runs "modprobe iscsi_tcp"; reads /etc/issue, and /etc/os-release when it names neither Red Hat
    ///   nor SUSE; runs "/etc/init.d/iscsid start" or "/etc/init.d/open-iscsi start" unless the stack runs
    ///   already, or "systemctl start iscsid" where systemd runs the host and there is no such script or the
    ///   distribution is another one
    /// Outputs: none
    /// Codes: 0 the stack runs; 416 the module does not load; 98 /etc/issue cannot be opened for reading and
    ///   writing; 1 neither Red Hat nor SUSE nor systemd, or not running after the script; 313 SUSE without
    ///   /sbin/iscsid;
    ///   else the script's wait status although the stack runs
    /// Logged: 313; for 416 a text of its own, which leaves `err_msg` as it is
    /// Blocks: as long as the init script takes, seconds
    virtual unsigned int StartInitiator(int index) = 0;

    /// Stops the daemon through the distribution's init script, unless a session exists.
    /// Checks: index (176); running (183, 182)
    /// Host: reads the initiator name file, /etc/issue and /etc/os-release as above, counts
    ///   /sys/class/iscsi_session; runs "/etc/init.d/iscsid stop" or "/etc/init.d/open-iscsi stop", or where
    ///   systemd takes their place "systemctl stop iscsid.socket iscsid.service"; on SUSE "killall iscsid"
    ///   and "rmmod iscsi_tcp" when the daemon survives
    /// Outputs: none
    /// Codes: 0 stopped; 198 initiator name too long; 191 no initiator name; 189 a session exists; 99 they
    ///   cannot be counted; 98, 1 as for `StartInitiator`; else the script's wait status
    /// Logged: 198, 191
    /// Blocks: as long as the init script takes, seconds
    virtual unsigned int StopInitiator(int index) = 0;

    /// Lists the initiator: one `_InitiatorNode`, 10,165 bytes.
    /// Checks: available (182); whether it runs is noted too
    /// Host: reads the initiator name file and /etc/iscsi/iscsid.conf
    /// Outputs: buffer and bytes, on 0
    /// Codes: 0 done; 198 initiator name too long; 191 no initiator name, or out of memory
    /// Logged: 198, 191
    /// Blocks: no
    virtual unsigned int GetInitiatorList(void* buffer, unsigned int* bytes) = 0;

    /// Lists all settings: an array of `_iSCSI_Property`, the initiator name first (id 1), then the settings
    /// of iscsid.conf in file order, without an end entry; at most 35 entries, 9,100 bytes.
    /// Checks: available (182); whether it runs is noted too
    /// Host: reads the initiator name file and /etc/iscsi/iscsid.conf
    /// Outputs: buffer and bytes, on 0
    /// Codes: 0 done; 198 initiator name too long; 191 no initiator name, or out of memory
    /// Logged: 198, 191
    /// Blocks: no
    virtual unsigned int GetInitiatorGlobals(void* buffer, unsigned int* bytes) = 0;

    /// Names this library and its version.
    /// Checks: none; the pointer is not tested and must be valid
    /// Host: nothing
    /// Outputs: name and version of the record; its bytes 16 to 19 are left alone
    /// Codes: 0
    /// Logged: no
    /// Blocks: no
    virtual unsigned int GetLibVersion(_Version* version) = 0;

    /// Gives what the host says of its iscsi_tcp module: one `_InitiatorVersion`, 257 bytes.
    /// Checks: none; the pointers are not tested and must be valid
    /// Host: asks the maker's runtime library for the module's information
    /// Outputs: buffer and bytes, on 0
    /// Codes: 0 done; 99 out of memory; else what the runtime library answered
    /// Logged: no
    /// Blocks: no
    virtual unsigned int GetInitiatorVersion(char* buffer, unsigned int* bytes) = 0;

    /// Not supported.
    /// Checks: none
    /// Host: nothing
    /// Outputs: none
    /// Codes: 89
    /// Logged: no
    /// Blocks: no
    virtual unsigned int AddConnection(unsigned char index, unsigned char* session, unsigned char* connection,
                                       unsigned char* address, unsigned short port) = 0;

    /// Not supported.
    /// Checks: none
    /// Host: nothing
    /// Outputs: none
    /// Codes: 89
    /// Logged: no
    /// Blocks: no
    virtual unsigned int RemoveConnection(int index, unsigned char* session, unsigned char* connection) = 0;

    /// Lists every target that a discovery recorded: `_TargetInformation`, 9,676 bytes each, grouped by
    /// discovery portal. `logged_in` and `persistent` are probed at the last address, port and tag of the
    /// portal's directory, for all of its targets. Discovery records without targets are deleted on the way.
    /// Checks: index (negative 172, else 176); the stack is not probed
    /// Host: reads send_targets and nodes under /var/lib/iscsi or /etc/iscsi, and the sessions in sysfs; runs
    ///   "iscsiadm -m discovery -p ADDRESS:PORT -o delete" for an empty discovery record
    /// Outputs: buffer and bytes, on 0, 2, and 179 when portals exist but the last one has no directory or no
    ///   usable entry (bytes 0)
    /// Codes: 0 done; 179 nothing recorded; 2 out of memory
    /// Logged: no
    /// Blocks: no, but for about a second per deleted record
    virtual unsigned int GetTargetList(int index, int unused, void* buffer, unsigned int* bytes) = 0;

    /// Not supported: there is one initiator.
    /// Checks: none
    /// Host: nothing
    /// Outputs: none
    /// Codes: 176
    /// Logged: no
    /// Blocks: no
    virtual unsigned int AddInitiatorNode(char* name, char* alias) = 0;

    /// Not supported: there is one initiator.
    /// Checks: none
    /// Host: nothing
    /// Outputs: none
    /// Codes: 184
    /// Logged: no
    /// Blocks: no
    virtual unsigned int RemoveInitiatorNode(int index) = 0;

    /// Asks a portal for its targets: `_TargetInformation`, 9,676 bytes each. What an earlier discovery of
    /// the portal recorded is deleted first. `count` must be 0 on entry.
    /// Checks: running (183, 182); the index is not used
    /// Host: empties the portal's directory under send_targets; runs "iscsiadm -m discovery -t st -p
    ///   ADDRESS:PORT", whose output goes to the agent's own streams; reads the directory again
    /// Outputs: count, once the checks passed; buffer and bytes, on 0
    /// Codes: 0 done; 179 the portal offers nothing or was not reached; 2 out of memory
    /// Logged: no
    /// Blocks: as long as the discovery takes: seconds, minutes for a dead portal
    virtual unsigned int DiscoverTarget(int unused, unsigned char* address, unsigned short port,
                                        unsigned char* unused_name, void* buffer, unsigned int* count,
                                        unsigned int* bytes) = 0;

    /// Writes the requested settings into the portal's node records and logs in to the target. A login that
    /// printed none of the phrases of a failure counts as done, also where nothing was printed because no
    /// shell could be started or no output captured. Look at the sessions afterwards.
    /// Checks: 205 for null; index of the request (176); running (183, 182)
    /// Host: runs one "iscsiadm -m node ... -o update" per requested setting (it changes every record at the
    ///   portal; CHAP secrets stand on the command line), then "iscsiadm -m node -l"; captures its output in
    ///   the file that `tmperrfile` names and removes it
    /// Outputs: none
    /// Codes: 0 done; 205 an update failed; 197 already logged in; 199 login failed; 99 out of memory
    /// Logged: every code but 0
    /// Blocks: as long as the login takes: about a second, two minutes for a dead portal
    virtual unsigned int LoginTarget(_LoginParams* params) = 0;

    /// Logs a session out. Byte 0 of `session` is its number.
    /// Checks: index (176); running (183, 182)
    /// Host: looks for /sys/class/iscsi_session/session%d; runs "iscsiadm -m session -r NUMBER -u"
    /// Outputs: none
    /// Codes: 0 done; 166 no such session; 1 the command failed; 99 out of memory
    /// Logged: every code but 0
    /// Blocks: as long as the logout takes: about a second
    virtual unsigned int LogoutTarget(int index, unsigned char* session) = 0;

    /// Counts the live sessions.
    /// Checks: running (183, 182)
    /// Host: lists /sys/class/iscsi_session
    /// Outputs: count, unless there is no session (it then keeps the caller's value: preset it to 0)
    /// Codes: 0
    /// Logged: no
    /// Blocks: no
    virtual unsigned int QuerySessionCount(unsigned int* count) = 0;

    /// Lists the live sessions in the order of their numbers: `_SessionInformation`, 554 bytes each.
    /// Checks: running (183, 182)
    /// Host: reads the session, connection and host entries of sysfs and the initiator name file
    /// Outputs: count; buffer and bytes; none of them unless 0
    /// Codes: 0 done; 166 no session; 99 out of memory
    /// Logged: no
    /// Blocks: no
    virtual unsigned int QuerySessionList(void* buffer, unsigned int* count, unsigned int* bytes) = 0;

    /// Counts the LUNs of a session. `session` is a session identifier (its number in byte 0) or its number
    /// as decimal text; identifiers of the sessions 48 to 57 read as text.
    /// Checks: running (183, 182)
    /// Host: reads the session's entries of sysfs
    /// Outputs: count, unless the session's host or target directory is missing
    /// Codes: 0 done; 166 no such session; 99 out of memory
    /// Logged: no
    /// Blocks: no
    virtual unsigned int QueryDiskCount(unsigned char* session, unsigned int* count) = 0;

    /// Lists the LUNs of a session, in the order of their numbers, with the disk behind each:
    /// `_DiskInformation`, 709 bytes each. There is always one record at least: without LUNs it holds the two
    /// names only, so the buffer needs room for the larger of the count and 1. `session` as above.
    /// Checks: running (183, 182)
    /// Host: reads the session's and its SCSI devices' entries of sysfs and the initiator name file
    /// Outputs: count (number of LUNs, 0 when their directory is missing; not on 166 and 99); buffer and
    ///   bytes (bytes 0 on 166 and 99)
    /// Codes: 0 done; 166 no such session; 99 out of memory
    /// Logged: 166
    /// Blocks: no
    virtual unsigned int QueryDisks(unsigned char* session, void* buffer, unsigned int* count,
                                    unsigned int* bytes) = 0;

    /// Deletes the node records of a portal, which must be the first portal of a recorded target.
    /// Checks: index (176); running (183, 182)
    /// Host: reads and runs what `GetTargetList` does; runs "iscsiadm -m node -p ADDRESS:PORT -o delete",
    ///   captured in the file that `tmperrfile` names
    /// Outputs: none
    /// Codes: 0 done; 179 no such target or no records; 167 a session is active (records of other targets at
    ///   the portal may be gone all the same); 99 out of memory, or databases that come before the portal or
    ///   sessions that may be its target's cannot be read, so that a session may go unseen
    /// Logged: every code but 0
    /// Blocks: about a second
    virtual unsigned int RemoveTarget(int index, unsigned char* address, unsigned short port,
                                      unsigned char* unused) = 0;

    /// Sets the node records of a portal back to manual startup, whatever the target's name.
    /// Checks: index (176); running (183, 182)
    /// Host: runs "iscsiadm -m node -p ADDRESS:PORT -o update -n node.startup -v manual", captured in the
    ///   file that `tmperrfile` names
    /// Outputs: none
    /// Codes: 0 done; 1 the command failed; 197, 199 when its result was lost (ECHILD) but its output tells;
    ///   99 out of memory
    /// Logged: no
    /// Blocks: about a second
    virtual unsigned int RemovePersistentTarget(int index, char* target_name, unsigned char* address,
                                                unsigned int port, unsigned char* unused) = 0;

    /// The same list as `GetInitiatorGlobals`; the property id is not used.
    /// Checks: index (176, logged); available (182)
    /// Host: reads the initiator name file and /etc/iscsi/iscsid.conf
    /// Outputs: buffer and bytes, on 0
    /// Codes: 0 done; 198 initiator name too long; 191 no initiator name, or out of memory
    /// Logged: 176, 198, 191
    /// Blocks: no
    virtual unsigned int GetProperty(int index, unsigned char id, void* buffer, unsigned int* bytes) = 0;

    /// Writes settings, a list of at most 34 properties and an end entry: the initiator name (id 1) into its
    /// own file, everything else into iscsid.conf, where lines of the key are replaced in place and new keys
    /// are appended. An entry with id 38 is changed to id 20. The daemon is not told.
    /// Checks: index (176); available (182)
    /// Host: rewrites /etc/iscsi/initiatorname.iscsi and /etc/iscsi/iscsid.conf in place, by way of
    ///   /tmp/tmpiscsidconf.txt; file errors also go to standard error
    /// Outputs: none
    /// Codes: 0 done; 168 an id that cannot be set; 187 the same key twice; 185 more than 34 properties; 198
    ///   initiator name too long (an initiator name that stood before a refused entry is already written);
    ///   4294967295 a file cannot be opened or written, or out of memory
    /// Logged: every code, 0 too
    /// Blocks: for 10 s at most, while somebody else holds a lock on iscsid.conf
    virtual unsigned int SetProperty(int index, _iSCSI_Property* properties) = 0;

    /// Lists what belongs to an object. Type 40: the portals of a target, `_TargetPortalGroups`, 29 bytes
    /// each; the variadic argument is its name. Type 41: the same, of a `_TargetInformation` record. Type 42:
    /// the connection of a `_SessionInformation` record, `_ConnectionInformation`, 74 bytes.
    /// Checks: index (176); type 41 none but a probe whether it is available; others running (183, 182)
    /// Host: reads the initiator name file; types 40 and 41 read and run what `GetTargetList` does; type 42
    ///   reads the session's connection and host entries of sysfs
    /// Outputs: buffer and bytes once the checks passed and a name was found, whatever the status (bytes 0
    ///   for nothing); not for other types
    /// Codes: 0 done; 198 initiator name too long; 191 no initiator name, or out of memory; 1 (type 40)
    ///   target not found; 2 (types 40 and 41) out of memory; 179 (type 41) nothing recorded; 1 (type 42) no
    ///   such connection; 1, 0 and 1 for a null object; 4294967295 (type 42) its SCSI host is not known, or
    ///   out of memory
    /// Logged: 198, 191
    /// Blocks: as long as deletions of empty discovery records take, about a second each
    virtual unsigned int GetList(int index, int type, void* buffer, unsigned int* bytes, ...) = 0;

    /// Not supported.
    /// Checks: none
    /// Host: nothing
    /// Outputs: none
    /// Codes: 89
    /// Logged: no
    /// Blocks: no
    virtual unsigned int AddTargetEntry(int index, char* target_name, unsigned char* address,
                                        unsigned short port) = 0;

    /// Not supported.
    /// Checks: none
    /// Host: nothing
    /// Outputs: none
    /// Codes: 89
    /// Logged: no
    /// Blocks: no
    virtual unsigned int AddTargetChapEntry(int index, char* username, char* password) = 0;

    /// Not supported.
    /// Checks: none
    /// Host: nothing
    /// Outputs: none
    /// Codes: 89
    /// Logged: no
    /// Blocks: no
    virtual unsigned int DelTargetChapEntry(int index, char* username, char* password) = 0;
};
static_assert(sizeof(ISCSI_Initiator) == sizeof(void*));

/// List types of `ISCSI_Initiator::GetList`.
inline constexpr int LIST_PORTAL_GROUPS = 40;
inline constexpr int LIST_TARGET_PORTALS = 41;
inline constexpr int LIST_CONNECTIONS = 42;
