// The initiator of a host with the open-iscsi stack.
#pragma once

#include <cstddef>

#include "iscsi_initiator.h"

/// Allocated and constructed by the agent, so its layout is shared: 1,040 bytes.
///
/// Construction probes whether the stack is installed and running, into `stack_avail`,
/// `op_init_stack_avail` and `op_initiator_started`, and empties `err_msg`. The destructor sets
/// `stack_avail` to 0. What the operations do is written down in iscsi_initiator.h.
class OpenInitiator : public ISCSI_Initiator {
public:
    OpenInitiator();
    ~OpenInitiator() override;

    const char* GetErrStr(int code) override;
    unsigned int IsServiceAvailable() override;
    unsigned int StartInitiator(int index) override;
    unsigned int StopInitiator(int index) override;
    unsigned int GetInitiatorList(void* buffer, unsigned int* bytes) override;
    unsigned int GetInitiatorGlobals(void* buffer, unsigned int* bytes) override;
    unsigned int GetLibVersion(_Version* version) override;
    unsigned int GetInitiatorVersion(char* buffer, unsigned int* bytes) override;
    unsigned int AddConnection(unsigned char index, unsigned char* session, unsigned char* connection,
                               unsigned char* address, unsigned short port) override;
    unsigned int RemoveConnection(int index, unsigned char* session, unsigned char* connection) override;
    unsigned int GetTargetList(int index, int unused, void* buffer, unsigned int* bytes) override;
    unsigned int AddInitiatorNode(char* name, char* alias) override;
    unsigned int RemoveInitiatorNode(int index) override;
    unsigned int DiscoverTarget(int unused, unsigned char* address, unsigned short port,
                                unsigned char* unused_name, void* buffer, unsigned int* count,
                                unsigned int* bytes) override;
    unsigned int LoginTarget(_LoginParams* params) override;
    unsigned int LogoutTarget(int index, unsigned char* session) override;
    unsigned int QuerySessionCount(unsigned int* count) override;
    unsigned int QuerySessionList(void* buffer, unsigned int* count, unsigned int* bytes) override;
    unsigned int QueryDiskCount(unsigned char* session, unsigned int* count) override;
    unsigned int QueryDisks(unsigned char* session, void* buffer, unsigned int* count,
                            unsigned int* bytes) override;
    unsigned int RemoveTarget(int index, unsigned char* address, unsigned short port,
                              unsigned char* unused) override;
    unsigned int RemovePersistentTarget(int index, char* target_name, unsigned char* address,
                                        unsigned int port, unsigned char* unused) override;
    unsigned int GetProperty(int index, unsigned char id, void* buffer, unsigned int* bytes) override;
    unsigned int SetProperty(int index, _iSCSI_Property* properties) override;
    unsigned int GetList(int index, int type, void* buffer, unsigned int* bytes, ...) override;
    unsigned int AddTargetEntry(int index, char* target_name, unsigned char* address,
                                unsigned short port) override;
    unsigned int AddTargetChapEntry(int index, char* username, char* password) override;
    unsigned int DelTargetChapEntry(int index, char* username, char* password) override;

    unsigned char reserved;    ///< keeps the layout; the library never reads or writes it
    char err_msg[1024];        ///< message of the last code that an operation logged, empty before
    unsigned int stack_avail;  ///< this object's last own probe whether the stack is installed
};

static_assert(sizeof(OpenInitiator) == 1040);
// A class with a table pointer has no offsetof in the standard; both compilers define it for this one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(OpenInitiator, reserved) == 8);
static_assert(offsetof(OpenInitiator, err_msg) == 9);
static_assert(offsetof(OpenInitiator, stack_avail) == 1036);
#pragma GCC diagnostic pop
