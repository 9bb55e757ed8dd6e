// LUNs and disks from sysfs.
#include <gtest/gtest.h>

#include <cstring>

#include "kvlinopinitr/iscsi_status.h"
#include "tests/support/agent.h"
#include "tests/support/host.h"

namespace {

using namespace iscsi_status;

class Disks : public testing::Test {
protected:
    Disks() {
        host::start_stack();
        host::set_initiator_name("iqn.2024-01.example.host:initiator");
    }

    // The disks of session 12, whose number never reads as text.
    std::vector<_DiskInformation> list(unsigned int expected_count) {
        unsigned char session[16] = {12};
        count = bytes = 77;
        std::vector<_DiskInformation> disks(300);
        std::memset(static_cast<void*>(disks.data()), 0xAA, disks.size() * sizeof disks[0]);
        EXPECT_EQ(initiator.QueryDisks(session, disks.data(), &count, &bytes), success);
        EXPECT_EQ(count, expected_count);
        EXPECT_EQ(bytes % 709, 0u);
        disks.resize(bytes / 709);
        EXPECT_GE(disks.size(), count);
        for (const _DiskInformation& disk : disks) {
            EXPECT_STREQ(disk.TargetName, "iqn.2024-01.example.array:disks");
            EXPECT_STREQ(disk.InitiatorName, "iqn.2024-01.example.host:initiator");
        }
        return disks;
    }

    OpenInitiator initiator;
    unsigned int count = 0;
    unsigned int bytes = 0;
};

class SysfsForms : public Disks, public testing::WithParamInterface<host::SysfsForm> {};

TEST_P(SysfsForms, InTheOrderOfTheLuns) {
    host::add_session({.number = 12,
                       .scsi_host = 3,
                       .luns = {{10, "sdd", "4096", "LIO-ORG ", "VIRTUAL-DISK    "},
                                {0, "sdb", "2097152", "LIO-ORG ", "Virtual Disk    "},
                                {255, "sde", "0", "V", "M"},
                                {1, "", "", "Array", "Controller"},
                                {256, "sdf", "18014398509481984", "V", "M"}},
                       .target_id = 4},
                      GetParam());
    host::write_file("/sys/devices/platform/host3/session12/target3:0:4/3:0:4", "");
    const auto disks = list(5);
    ASSERT_EQ(disks.size(), 5u);
    const struct {
        int lun;
        const char *device, *size, *vendor, *model;
    } expected[] = {{0, "sdb", "1073741824", "LIO-ORG", "Virtual"},
                    {1, "", "", "", ""},
                    {10, "sdd", "2097152", "LIO-ORG", "VIRTUAL-DISK"},
                    {255, "sde", "0", "V", "M"},
                    {0, "sdf", "9223372036854775808", "V", "M"}};
    for (std::size_t i = 0; i < disks.size(); ++i) {
        EXPECT_EQ(disks[i].Host, 3) << i;
        EXPECT_EQ(disks[i].TargetId, 4) << i;
        EXPECT_EQ(disks[i].Lun, expected[i].lun) << i;
        EXPECT_STREQ(disks[i].DeviceName, expected[i].device) << i;
        EXPECT_STREQ(disks[i].Size, expected[i].size) << i;
        EXPECT_STREQ(disks[i].Vendor, expected[i].vendor) << i;
        EXPECT_STREQ(disks[i].Model, expected[i].model) << i;
    }
    unsigned char session[16] = {12};
    EXPECT_EQ(initiator.QueryDiskCount(session, &count), success);
    EXPECT_EQ(count, 5u);
}

INSTANTIATE_TEST_SUITE_P(Kernels, SysfsForms,
                         testing::Values(host::SysfsForm::today, host::SysfsForm::older));

TEST_F(Disks, WithoutLunsOneRecordHoldsTheNames) {
    host::add_session({12});
    const _DiskInformation zero{};
    const struct {
        const char* removed;
        unsigned int disk_count;  // what QueryDiskCount leaves, 99 as it was
    } cases[] = {{"", 0},
                 {"/sys/devices/platform/host3/session12/target3:0:0", 99},
                 {"/sys/class/iscsi_session/session12/device", 99}};
    for (const auto& [removed, disk_count] : cases) {
        if (*removed != '\0') host::remove(removed);
        const auto disks = list(0);
        ASSERT_EQ(disks.size(), 1u) << removed;
        EXPECT_EQ(std::memcmp(&disks[0], &zero, 197), 0) << removed;
        unsigned char session[16] = {12};
        unsigned int luns = 99;
        EXPECT_EQ(initiator.QueryDiskCount(session, &luns), success);
        EXPECT_EQ(luns, disk_count) << removed;
    }
}

TEST_F(Disks, AttributesThatCannotBeRead) {
    host::add_session({.number = 12, .luns = {{0, "sdb", "8", "V", "M"}, {1, "sdc", "8", "V", "M"}}});
    const std::string first = "/sys/bus/scsi/devices/3:0:0:0";
    host::remove(first + "/vendor");
    host::write_file(first + "/model", "<NULL>\n");
    host::remove(first + "/block/sdb/size");
    const std::string second = "/sys/bus/scsi/devices/3:0:0:1";
    host::write_file(second + "/vendor", std::string(2000, 'v'));
    host::write_file(second + "/model", std::string(100, 'm') + "\n");
    host::write_file(second + "/block/sdc/size", "99999999999999999999999999999999999999\n");
    const auto disks = list(2);
    EXPECT_STREQ(disks[0].DeviceName, "sdb");
    EXPECT_STREQ(disks[0].Size, "0");
    EXPECT_STREQ(disks[0].Vendor, "");
    EXPECT_STREQ(disks[0].Model, "");
    EXPECT_EQ(disks[1].Vendor, std::string(31, 'v'));
    EXPECT_EQ(disks[1].Model, std::string(31, 'm'));
    EXPECT_STREQ(disks[1].Size, "18446744073709551104");
}

TEST_F(Disks, BlockEntriesOfOtherKinds) {
    host::add_session({.number = 12, .luns = {{0, "sdb", "8", "V", "M"}}});
    const std::string device = "/sys/bus/scsi/devices/3:0:0:0";
    const auto expect_no_device = [&](const char* what) { EXPECT_STREQ(list(1)[0].DeviceName, "") << what; };
    host::remove(device + "/block/sdb");
    expect_no_device("empty directory");
    host::remove(device + "/block");
    expect_no_device("none");
    host::write_file(device + "/block", "");
    expect_no_device("file");
    host::remove(device + "/block");
    host::make_link(device + "/block", "power");
    expect_no_device("link without a colon");
    host::remove(device);
    expect_no_device("no device directory");
}

TEST_F(Disks, SessionReferences) {
    for (const int number : {1, 12, 49, 300}) {
        host::add_session({.number = number,
                           .target = "iqn.t" + std::to_string(number),
                           .scsi_host = number,
                           .luns = {{0, "sdb", "8", "V", "M"}}});
    }
    const auto target_of = [&](std::string reference) {
        reference.resize(16);
        _DiskInformation disk{};
        const unsigned int status =
            initiator.QueryDisks(reinterpret_cast<unsigned char*>(reference.data()), &disk, &count, &bytes);
        return status == success ? std::string{disk.TargetName} : std::to_string(status);
    };
    host::write_file("/sys/class/iscsi_session/session300/targetname", std::string(255, 'n') + "\n");
    EXPECT_EQ(target_of("12"), "iqn.t12");
    EXPECT_EQ(target_of("\x0c"), "iqn.t12") << "a form feed is white space, not text";
    EXPECT_EQ(target_of(" +300"), std::string(255, 'n'));
    EXPECT_EQ(target_of("\x31"), "iqn.t1") << "49 reads as the text 1";
    EXPECT_EQ(target_of("49"), "iqn.t49");
    EXPECT_EQ(target_of("5"), "166");
    EXPECT_EQ(target_of("-12"), "166");
}

}  // namespace
