// The binary contract: what an agent that was compiled long ago counts on.
#include <dlfcn.h>

#include "kvlinopinitr/iscsi_status.h"
#include "tests/support/test.h"

namespace {

void* symbol(const std::string& name) {
    void* address = dlsym(RTLD_DEFAULT, name.c_str());
    EXPECT_NE(address, nullptr) << name;
    return address;
}

void** table_of(const char* name) {
    return static_cast<void**>(symbol(name)) + 2;  // behind the offset and the type
}

TEST(Contract, TheObjectIsConstructedAndDestroyedInTheAgentsMemory) {
    EXPECT_EQ(SIZEOFPOINTER + op_init_stack_avail + op_initiator_started, 0U) << "before the first object";
    host::start_stack();
    alignas(16) unsigned char memory[1040 + 16];
    std::fill(std::begin(memory), std::end(memory), 0xAA);
    const auto call = [&memory](const char* name) {
        return reinterpret_cast<unsigned int (*)(void*)>(symbol(name))(memory);
    };
    const auto& stack_avail = *reinterpret_cast<unsigned int*>(memory + 1036);
    call("_ZN13OpenInitiatorC1Ev");
    EXPECT_EQ(*reinterpret_cast<void**>(memory), table_of("_ZTV13OpenInitiator"));
    EXPECT_EQ(memory[8], 0xAA);
    EXPECT_EQ(memory[9], 0) << "err_msg is empty until something is logged";
    EXPECT_EQ(stack_avail, 1u);
    EXPECT_EQ(op_init_stack_avail, 1u);
    EXPECT_EQ(op_initiator_started, 1u);
    EXPECT_EQ(SIZEOFPOINTER, 8u);

    host::remove_stack();
    EXPECT_EQ(call("_ZN13OpenInitiator18IsServiceAvailableEv"), 0u);
    EXPECT_EQ(stack_avail, 0u);
    host::start_stack();
    EXPECT_EQ(call("_ZN13OpenInitiator18IsServiceAvailableEv"), 1u);
    call("_ZN13OpenInitiatorD1Ev");
    EXPECT_EQ(*reinterpret_cast<void**>(memory), table_of("_ZTV15ISCSI_Initiator"));
    EXPECT_EQ(stack_avail, 0u) << "after destruction";
    EXPECT_EQ(op_initiator_started, 1u) << "the globals stay";
    EXPECT_EQ(memory[1040], 0xAA);
}

TEST(Contract, MessagesOfTheStatusTable) {
    OpenInitiator initiator;
    std::uint64_t sum = 0xcbf29ce484222325;  // FNV-1a of "CODE MESSAGE\n" of all rows, in their order
    for (const iSCSI_StatusMessage* row = OpenIscsiErrStr; row->message != nullptr; ++row) {
        EXPECT_STREQ(initiator.GetErrStr(static_cast<int>(row->code)), row->message);
        for (const char c : std::to_string(row->code) + " " + row->message + "\n")
            sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    }
    EXPECT_EQ(sum, 0xf25533482513193c);
    EXPECT_EQ(OpenIscsiErrStr[33].code, 0xFFFFFFFFu);
    for (const int code : {181, 416, -1, 256}) EXPECT_STREQ(initiator.GetErrStr(code), "") << code;
}

TEST(Contract, HooksAnswer0) {
    static unsigned char two_records[2 * sizeof(_InitiatorNode)];
    for (void* list : {static_cast<void*>(nullptr), static_cast<void*>(two_records)}) {
        EXPECT_EQ(print_target_info(static_cast<_TargetInformation*>(list), 1), 0);
        EXPECT_EQ(print_portals_info(static_cast<_TargetPortalGroups*>(list), 1), 0);
        EXPECT_EQ(print_session_info(static_cast<_SessionInformation*>(list), 1), 0);
        EXPECT_EQ(print_connection_info(static_cast<_ConnectionInformation*>(list)), 0);
        EXPECT_EQ(print_disks_info(static_cast<_DiskInformation*>(list), 1), 0);
        EXPECT_EQ(print_initiator_info(static_cast<_InitiatorNode*>(list), 2, 1), 0);
        EXPECT_EQ(print_kv_settings(static_cast<_iSCSI_Property*>(list), 1), 0);
    }
}

}  // namespace
