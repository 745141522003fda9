#include <Telvora/Platform/Linux/Machine/LinuxDevice.h>

#include <tests/Platform/Linux/Machine/TemporaryTree.h>

#include <gtest/gtest.h>

#include <numeric>

namespace telvora::detail {
namespace {

/// Builds the 128 bytes by which a screen describes itself.
class EDID {
public:
    EDID()
        : m_bytes(128, '\0')
    {
        for (std::size_t index = 1; index < 7; ++index)
            set(index, 0xFF);
    }

    EDID& setCentimetres(int width, int height)
    {
        set(21, width);
        set(22, height);
        return *this;
    }

    /// In the first detailed timing.
    EDID& setMillimetres(int width, int height)
    {
        set(54, 0x01);
        set(55, 0x1D);
        set(66, width & 0xFF);
        set(67, height & 0xFF);
        set(68, (width >> 8) << 4 | height >> 8);
        return *this;
    }

    /// With its checksum made right.
    std::string text() const
    {
        std::string bytes = m_bytes;
        const int sum = std::accumulate(bytes.begin(), bytes.end() - 1, 0,
            [](int total, char byte) { return total + static_cast<unsigned char>(byte); });
        bytes.back() = static_cast<char>(-sum);
        return bytes;
    }

private:
    void set(std::size_t index, int value) { m_bytes[index] = static_cast<char>(value); }

    std::string m_bytes;
};

class LinuxScreensTest : public testing::Test {
protected:
    void connect(const std::string& connector, const std::string& modes,
        const std::string& edid = {}, const std::string& status = "connected")
    {
        const std::string folder = "/sys/class/drm/" + connector;
        tree.write(folder + "/status", status + "\n");
        tree.write(folder + "/modes", modes);
        tree.write(folder + "/edid", edid);
    }

    TemporaryTree tree;
    LinuxDevice device { SystemFiles(tree.path()) };
};

TEST_F(LinuxScreensTest, AMachineWithoutScreensHasOneOfNoSize)
{
    EXPECT_EQ(device.screenBounds().width, 0);
    EXPECT_EQ(device.screenBounds().height, 0);
    EXPECT_EQ(device.screenScale(), 1);
    EXPECT_EQ(device.ppi(), std::nullopt);
}

TEST_F(LinuxScreensTest, TheFirstModeOfAConnectedScreenIsItsSize)
{
    connect("card0-DP-1", "", {}, "disconnected");
    connect("card0-HDMI-A-1", "2560x1440\n1920x1080\n");
    tree.makeFolder("/sys/class/drm/renderD128");
    tree.write("/sys/class/drm/version", "drm 1.1.0 20060810\n");

    EXPECT_EQ(device.screenBounds().width, 2560);
    EXPECT_EQ(device.screenBounds().height, 1440);
    EXPECT_EQ(device.screenScale(), 1);
}

TEST_F(LinuxScreensTest, ABuiltInPanelIsTheMainScreen)
{
    connect("card0-DP-1", "3840x2160\n");
    connect("card0-eDP-1", "1920x1200\n");

    EXPECT_EQ(device.screenBounds().width, 1920);
}

TEST_F(LinuxScreensTest, AConnectedScreenWithoutModesIsPassedOver)
{
    connect("card0-DP-1", "");
    connect("card0-DP-2", "what\n");
    connect("card0-DP-3", "1920x1080i\n");

    EXPECT_EQ(device.screenBounds().width, 1920);
}

TEST_F(LinuxScreensTest, DensityComesFromTheDetailedTimingInMillimetres)
{
    connect(
        "card0-DP-1", "2560x1440\n", EDID().setCentimetres(10, 10).setMillimetres(597, 336).text());

    EXPECT_EQ(device.ppi(), 109);
}

TEST_F(LinuxScreensTest, DensityComesFromCentimetresWithoutATiming)
{
    connect("card0-DP-1", "1920x1080\n", EDID().setCentimetres(53, 30).text());

    EXPECT_EQ(device.ppi(), 92);
}

TEST_F(LinuxScreensTest, ADescriptionFollowedByExtensionsIsRead)
{
    connect("card0-DP-1", "1920x1080\n",
        EDID().setCentimetres(53, 30).text() + std::string(128, '\x02'));

    EXPECT_EQ(device.ppi(), 92);
}

TEST_F(LinuxScreensTest, ADamagedDescriptionGivesNoDensity)
{
    const std::string whole = EDID().setCentimetres(53, 30).text();
    std::string badSum = whole;
    badSum[30] = 1;
    std::string badHeader = whole;
    std::swap(badHeader[0], badHeader[1]);

    for (const std::string& edid : { std::string(), whole.substr(0, 127), badSum, badHeader }) {
        connect("card0-DP-1", "1920x1080\n", edid);

        EXPECT_EQ(device.ppi(), std::nullopt);
        EXPECT_EQ(device.screenBounds().width, 1920);
    }
}

TEST_F(LinuxScreensTest, AnAspectRatioInPlaceOfASizeGivesNoDensity)
{
    connect("card0-DP-1", "1920x1080\n", EDID().setMillimetres(16, 9).text());
    EXPECT_EQ(device.ppi(), std::nullopt);

    connect("card0-DP-1", "1920x1080\n", EDID().setCentimetres(79, 0).text());
    EXPECT_EQ(device.ppi(), std::nullopt);
}

TEST_F(LinuxScreensTest, AScreenThatTheHostDescribesOverridesTheKernels)
{
    connect("card0-eDP-1", "1920x1200\n", EDID().setCentimetres(30, 19).text());
    const MainScreen screen { 390, 844, 3, 460 };
    const LinuxDevice described { SystemFiles(tree.path()), screen };

    EXPECT_EQ(described.screenBounds().width, 390);
    EXPECT_EQ(described.screenBounds().height, 844);
    EXPECT_EQ(described.screenScale(), 3);
    EXPECT_EQ(described.ppi(), 460);
}

} // namespace
} // namespace telvora::detail
