// The binary contract: what an agent that was compiled long ago counts on.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <new>

#include "kvlinopinitr/iscsi_status.h"
#include "kvlinopinitr/iscsi_target.h"
#include "tests/support/agent.h"
#include "tests/support/host.h"

namespace {

// In slot order.
const char* const operations[] = {
    "_ZN13OpenInitiator9GetErrStrEi",
    "_ZN13OpenInitiator18IsServiceAvailableEv",
    "_ZN13OpenInitiator14StartInitiatorEi",
    "_ZN13OpenInitiator13StopInitiatorEi",
    "_ZN13OpenInitiator16GetInitiatorListEPvPj",
    "_ZN13OpenInitiator19GetInitiatorGlobalsEPvPj",
    "_ZN13OpenInitiator13GetLibVersionEP8_Version",
    "_ZN13OpenInitiator19GetInitiatorVersionEPcPj",
    "_ZN13OpenInitiator13AddConnectionEhPhS0_S0_t",
    "_ZN13OpenInitiator16RemoveConnectionEiPhS0_",
    "_ZN13OpenInitiator13GetTargetListEiiPvPj",
    "_ZN13OpenInitiator16AddInitiatorNodeEPcS0_",
    "_ZN13OpenInitiator19RemoveInitiatorNodeEi",
    "_ZN13OpenInitiator14DiscoverTargetEiPhtS0_PvPjS2_",
    "_ZN13OpenInitiator11LoginTargetEP12_LoginParams",
    "_ZN13OpenInitiator12LogoutTargetEiPh",
    "_ZN13OpenInitiator17QuerySessionCountEPj",
    "_ZN13OpenInitiator16QuerySessionListEPvPjS1_",
    "_ZN13OpenInitiator14QueryDiskCountEPhPj",
    "_ZN13OpenInitiator10QueryDisksEPhPvPjS2_",
    "_ZN13OpenInitiator12RemoveTargetEiPhtS0_",
    "_ZN13OpenInitiator22RemovePersistentTargetEiPcPhjS1_",
    "_ZN13OpenInitiator11GetPropertyEihPvPj",
    "_ZN13OpenInitiator11SetPropertyEiP15_iSCSI_Property",
    "_ZN13OpenInitiator7GetListEiiPvPjz",
    "_ZN13OpenInitiator14AddTargetEntryEiPcPht",
    "_ZN13OpenInitiator18AddTargetChapEntryEiPcS0_",
    "_ZN13OpenInitiator18DelTargetChapEntryEiPcS0_",
};

void* table_of(const char* symbol) {
    return static_cast<void**>(dlsym(RTLD_DEFAULT, symbol)) + 2;  // behind the offset and the type
}

TEST(Contract, TheTableHoldsTheOperationsInSlotOrder) {
    auto** table = static_cast<void**>(table_of("_ZTV13OpenInitiator"));
    EXPECT_EQ(table[0], dlsym(RTLD_DEFAULT, "_ZN13OpenInitiatorD1Ev"));
    EXPECT_EQ(table[1], dlsym(RTLD_DEFAULT, "_ZN13OpenInitiatorD0Ev"));
    for (std::size_t slot = 0; slot < std::size(operations); ++slot) {
        void* operation = dlsym(RTLD_DEFAULT, operations[slot]);
        ASSERT_NE(operation, nullptr) << operations[slot];
        EXPECT_EQ(table[first_slot + slot], operation) << "slot " << slot << " " << operations[slot];
    }
}

TEST(Contract, TheObjectIsConstructedAndDestroyedInTheAgentsMemory) {
    host::start_stack();
    alignas(16) unsigned char memory[1040 + 16];
    std::fill(std::begin(memory), std::end(memory), 0xAA);
    using Function = void (*)(void*);
    reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, "_ZN13OpenInitiatorC1Ev"))(memory);

    const auto word_at = [&](std::size_t offset) {
        return *reinterpret_cast<unsigned int*>(memory + offset);
    };
    EXPECT_EQ(*reinterpret_cast<void**>(memory), table_of("_ZTV13OpenInitiator"));
    EXPECT_EQ(memory[8], 0xAA);
    EXPECT_EQ(memory[9], 0) << "err_msg is empty until something is logged";
    EXPECT_EQ(word_at(1036), 1u);
    EXPECT_EQ(op_init_stack_avail, 1u);
    EXPECT_EQ(op_initiator_started, 1u);
    EXPECT_EQ(SIZEOFPOINTER, 8u);

    host::stop_stack();
    reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, "_ZN13OpenInitiatorD1Ev"))(memory);
    EXPECT_EQ(*reinterpret_cast<void**>(memory), table_of("_ZTV15ISCSI_Initiator"));
    EXPECT_EQ(word_at(1036), 0u) << "stack_avail after destruction";
    EXPECT_EQ(op_initiator_started, 1u) << "the globals stay";
    EXPECT_EQ(memory[1040], 0xAA);
}

TEST(Contract, TargetInterfaceHasADestructorAnd32Operations) {
    class Plugin : public ISCSI_Target {};
    static_assert(std::is_abstract_v<Plugin> && std::has_virtual_destructor_v<ISCSI_Target>);
    auto** table = static_cast<void**>(table_of("_ZTV12ISCSI_Target"));
    void* pure = table[2];
    for (int operation = 0; operation < 32; ++operation) EXPECT_EQ(table[2 + operation], pure) << operation;
}

TEST(Contract, MessagesOfTheStatusTable) {
    OpenInitiator initiator;
    std::uint64_t sum = 0xcbf29ce484222325;  // FNV-1a of "CODE MESSAGE\n" of all rows, in their order
    for (const iSCSI_StatusMessage* row = OpenIscsiErrStr; row->message != nullptr; ++row) {
        EXPECT_STREQ(initiator.GetErrStr(static_cast<int>(row->code)), row->message);
        for (const char c : std::to_string(row->code) + " " + row->message + "\n") {
            sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3;
        }
    }
    EXPECT_EQ(sum, 0xf25533482513193c);
    EXPECT_EQ(OpenIscsiErrStr[33].code, 0xFFFFFFFFu);
    EXPECT_EQ(OpenIscsiErrStr[33].message, nullptr);
    for (const int code : {181, 416, -1, 256}) EXPECT_STREQ(initiator.GetErrStr(code), "") << code;
}

TEST(Contract, GlobalsBeforeTheFirstObject) {
    EXPECT_EQ(SIZEOFPOINTER, 0u);
    EXPECT_EQ(op_init_stack_avail, 0u);
    EXPECT_STREQ(tmperrfile, "/tmp/opiscsierr");
}

}  // namespace
