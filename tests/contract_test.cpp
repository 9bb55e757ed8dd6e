// The binary contract: what an agent that was compiled long ago counts on.
#include <dlfcn.h>

#include "core/base/record_list.h"
#include "core/base/secret_text.h"
#include "kvlinopinitr/answer_buffer.h"
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
    // All rows in their order, each message by its FNV-1a sum.
    const std::pair<unsigned int, std::uint32_t> rows[] = {
        {0u, 0x6d8303b0},   {1u, 0x00ff5cd1},   {98u, 0xe87ccbb9},  {99u, 0x3c113350},  {166u, 0x940a4b27},
        {167u, 0x45950bd2}, {168u, 0xad07f1e1}, {169u, 0x7a5d00f5}, {170u, 0xa5874690}, {171u, 0x2bec13a5},
        {172u, 0x7f134576}, {173u, 0x4361ea99}, {174u, 0x3051b822}, {175u, 0x10262ab4}, {176u, 0x6683199b},
        {177u, 0x13072677}, {178u, 0xa13110a7}, {179u, 0xe54d10cd}, {180u, 0x01ec9471}, {182u, 0xf3e226b9},
        {183u, 0x61934ac4}, {184u, 0xf8ad2330}, {185u, 0x046a39c2}, {186u, 0x26991d55}, {187u, 0x480df19a},
        {189u, 0x91d8ec7f}, {191u, 0x8362dd4f}, {89u, 0xda1d7f99},  {197u, 0xc9cbacc1}, {199u, 0xbee37024},
        {198u, 0xca9807eb}, {313u, 0x507836d8}, {205u, 0xd957f326}};
    const iSCSI_StatusMessage* row = OpenIscsiErrStr;
    for (const auto& [code, expected] : rows) {
        EXPECT_STREQ(initiator.GetErrStr(static_cast<int>(row->code)), row->message);
        std::uint32_t sum = 0x811c9dc5;
        for (const char* c = row->message; *c != '\0'; ++c)
            sum = (sum ^ static_cast<unsigned char>(*c)) * 0x1000193;
        EXPECT_TRUE(row->code == code && sum == expected) << row->code << ' ' << row->message;
        ++row;
    }
    EXPECT_EQ(row->message, nullptr);
    EXPECT_EQ(OpenIscsiErrStr[33].code, 0xFFFFFFFFu);
    for (const int code : {181, 416, -1, 256}) EXPECT_STREQ(initiator.GetErrStr(code), "") << code;
}

TEST(Containers, HoldWhatTheyTookOverAndNothingThatTheyGaveAway) {
    kvlinopinitr::AnswerBuffer<int> answer{1};
    *answer.bytes() = sizeof(int);
    answer.bytes();
    EXPECT_TRUE(answer.records().empty()) << "of the call before";

    opinit::SecretText given, taken;
    given.append("secret");
    taken = std::move(given);
    EXPECT_EQ(given.view().size(), 0u);  // NOLINT(bugprone-use-after-move)

    opinit::RecordList<_DiskInformation> disks{opinit::new_record<_DiskInformation>()};
    _DiskInformation* second = disks.append();
    EXPECT_EQ(next_record(disks.first()), second);
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
