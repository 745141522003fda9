#include <Telvora/Platform/Linux/Machine/LinuxDevice.h>

#include <tests/Platform/Linux/Machine/TemporaryTree.h>

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/utsname.h>

namespace telvora::detail {
namespace {

using namespace std::string_literals;

class LinuxDeviceTest : public testing::Test {
protected:
    void writeFirmware(const std::string& name, const std::string& text)
    {
        tree.write("/sys/class/dmi/id/" + name, text + "\n");
    }

    static utsname kernel()
    {
        utsname names {};
        ::uname(&names);
        return names;
    }

    TemporaryTree tree;
    LinuxDevice device { SystemFiles(tree.path()) };
};

TEST_F(LinuxDeviceTest, WithoutSystemFilesTheModelIsLinux)
{
    EXPECT_EQ(device.safeDescription(), "Linux");
    EXPECT_EQ(device.identifier(), kernel().machine);
    EXPECT_EQ(device.userInterfaceIdiom(), UserInterfaceIdiom::other);
    EXPECT_EQ(device.ppi(), std::nullopt);
    EXPECT_EQ(device.systemVersion(), kernel().release);
}

TEST_F(LinuxDeviceTest, TheDeviceTreeOverridesTheFirmware)
{
    tree.write("/proc/device-tree/model", "Raspberry Pi 4 Model B Rev 1.4\0"s);
    tree.write("/proc/device-tree/compatible", "raspberrypi,4-model-b\0brcm,bcm2711\0"s);
    writeFirmware("product_name", "Virtual Machine");

    EXPECT_EQ(device.safeDescription(), "Raspberry Pi 4 Model B Rev 1.4");
    EXPECT_EQ(device.identifier(), "raspberrypi,4-model-b");
}

TEST_F(LinuxDeviceTest, TheFirmwareNamesTheProduct)
{
    writeFirmware("sys_vendor", "Dell Inc.");
    writeFirmware("product_name", "XPS 13 9310  ");
    writeFirmware("product_version", "1.0");

    EXPECT_EQ(device.safeDescription(), "XPS 13 9310");
    EXPECT_EQ(device.identifier(), "Dell Inc.,XPS 13 9310");
}

TEST_F(LinuxDeviceTest, OneMakerNamesTheProductInItsVersion)
{
    writeFirmware("sys_vendor", "LENOVO");
    writeFirmware("product_name", "20XW0043US");
    writeFirmware("product_version", "ThinkPad X1 Carbon Gen 9");

    EXPECT_EQ(device.safeDescription(), "ThinkPad X1 Carbon Gen 9");
    EXPECT_EQ(device.identifier(), "LENOVO,20XW0043US");
}

TEST_F(LinuxDeviceTest, AVersionWithoutWordsLeavesTheProductName)
{
    writeFirmware("sys_vendor", "LENOVO");
    writeFirmware("product_name", "90BJ0083GE");
    writeFirmware("product_version", "INVALID");

    EXPECT_EQ(device.safeDescription(), "90BJ0083GE");
}

TEST_F(LinuxDeviceTest, TheBoardsNameReplacesAPlaceholder)
{
    for (const std::string placeholder : { "To be filled by O.E.M.", "System Product Name",
             "Default string", "default string", "Not Applicable", "0", "00000000", " ", "..." }) {
        writeFirmware("sys_vendor", placeholder);
        writeFirmware("product_name", placeholder);
        writeFirmware("board_name", "PRIME B450M-A");

        EXPECT_EQ(device.safeDescription(), "PRIME B450M-A") << placeholder;
        EXPECT_EQ(device.identifier(), "PRIME B450M-A") << placeholder;
    }
}

TEST_F(LinuxDeviceTest, PlaceholdersEverywhereGiveNoModel)
{
    writeFirmware("product_name", "To be filled by O.E.M.");
    writeFirmware("board_name", "Default string");

    EXPECT_EQ(device.safeDescription(), "Linux");
    EXPECT_EQ(device.identifier(), kernel().machine);
}

TEST_F(LinuxDeviceTest, TheVersionIsThatOfTheDistribution)
{
    tree.write("/etc/os-release", "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\nBUILD_ID=x\n");
    tree.write("/usr/lib/os-release", "VERSION_ID=\"11\"\n");

    EXPECT_EQ(device.systemVersion(), "12");
}

TEST_F(LinuxDeviceTest, WithoutTheAdministratorsFileTheVendorsIsRead)
{
    tree.write("/usr/lib/os-release", "VERSION_ID='22.04'\n");

    EXPECT_EQ(device.systemVersion(), "22.04");
}

TEST_F(LinuxDeviceTest, WithoutAVersionTheDistributionsBuildIsUsed)
{
    tree.write("/etc/os-release", "ID=arch\nVERSION_ID=\nBUILD_ID=rolling");

    EXPECT_EQ(device.systemVersion(), "rolling");
}

TEST_F(LinuxDeviceTest, WithoutADistributionTheVersionIsThatOfTheKernel)
{
    tree.write("/proc/sys/kernel/osrelease", "6.1.0-18-amd64\n");

    EXPECT_EQ(device.systemVersion(), "6.1.0-18-amd64");
}

TEST_F(LinuxDeviceTest, VersionsCompareByNumberAndNotByLetter)
{
    tree.write("/etc/os-release", "VERSION_ID=14.10\n");

    EXPECT_TRUE(device.isSystemVersionAtLeast(14, 1));
    EXPECT_TRUE(device.isSystemVersionAtLeast(14, 9));
    EXPECT_TRUE(device.isSystemVersionAtLeast(14, 10));
    EXPECT_TRUE(device.isSystemVersionAtLeast(9, 99));
    EXPECT_FALSE(device.isSystemVersionAtLeast(14, 11));
    EXPECT_FALSE(device.isSystemVersionAtLeast(15, 0));
}

TEST_F(LinuxDeviceTest, AVersionOfOneNumberHasMinorZero)
{
    tree.write("/etc/os-release", "VERSION_ID=14\n");

    EXPECT_TRUE(device.isSystemVersionAtLeast(14, 0));
    EXPECT_FALSE(device.isSystemVersionAtLeast(14, 1));
}

TEST_F(LinuxDeviceTest, AVersionWithoutNumbersIsOlderThanAll)
{
    for (const std::string version : { "rolling", "v15", "99999999999999999999", "-15.2" }) {
        tree.write("/etc/os-release", "VERSION_ID=" + version + "\n");

        EXPECT_FALSE(device.isSystemVersionAtLeast(0, 1)) << version;
    }
}

TEST_F(LinuxDeviceTest, TheChassisTellsTheKindOfDevice)
{
    const std::pair<std::string, UserInterfaceIdiom> kinds[] {
        { "3", UserInterfaceIdiom::other },
        { "10", UserInterfaceIdiom::other },
        { "11", UserInterfaceIdiom::phone },
        { "30", UserInterfaceIdiom::pad },
        { "31", UserInterfaceIdiom::pad },
        { "32", UserInterfaceIdiom::pad },
    };
    for (const auto& [type, idiom] : kinds) {
        writeFirmware("chassis_type", type);

        EXPECT_EQ(device.userInterfaceIdiom(), idiom) << type;
    }
}

TEST_F(LinuxDeviceTest, TheDeviceTreeNamesTheKindOfDevice)
{
    tree.write("/proc/device-tree/chassis-type", "handset\0"s);
    EXPECT_EQ(device.userInterfaceIdiom(), UserInterfaceIdiom::phone);

    tree.write("/proc/device-tree/chassis-type", "tablet\0"s);
    EXPECT_EQ(device.userInterfaceIdiom(), UserInterfaceIdiom::pad);
}

TEST_F(LinuxDeviceTest, TheAdministratorsFileOverridesTheChassis)
{
    writeFirmware("chassis_type", "30");
    tree.write("/etc/machine-info", "PRETTY_HOSTNAME=\"My \\\"phone\\\"\"\nCHASSIS=handset\n");
    EXPECT_EQ(device.userInterfaceIdiom(), UserInterfaceIdiom::phone);

    tree.write("/etc/machine-info", "CHASSIS=\"laptop\"\n");
    EXPECT_EQ(device.userInterfaceIdiom(), UserInterfaceIdiom::other);
}

TEST_F(LinuxDeviceTest, OnlyProcessorsThatTheProcessMayUseAreCounted)
{
    cpu_set_t allowed;
    ASSERT_EQ(::sched_getaffinity(0, sizeof allowed, &allowed), 0);
    EXPECT_EQ(device.activeProcessorCount(), CPU_COUNT(&allowed));

    std::size_t first = 0;
    while (!CPU_ISSET(first, &allowed))
        ++first;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(first, &one);
    ASSERT_EQ(::sched_setaffinity(0, sizeof one, &one), 0);

    EXPECT_EQ(device.activeProcessorCount(), 1);
}

TEST_F(LinuxDeviceTest, TheRealMachineAnswersEverything)
{
    const LinuxDevice real { SystemFiles() };

    EXPECT_FALSE(real.safeDescription().empty());
    EXPECT_FALSE(real.identifier().empty());
    EXPECT_FALSE(real.systemVersion().empty());
    EXPECT_GE(real.screenBounds().width, 0);
    EXPECT_GE(real.activeProcessorCount(), 1);
}

} // namespace
} // namespace telvora::detail
